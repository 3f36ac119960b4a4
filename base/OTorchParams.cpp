#include "OTorchParams.h"

#include "ORegistry.h"

OTorchParams::OTorchParams(int iInitNow, HKEY hRoot, const char* pPath)
{
    try
    {
        if (iInitNow) Init(hRoot, pPath);
    }
    catch (...) { LogCaught("OTorchParams::OTorchParams"); throw; }
}

void OTorchParams::Init(HKEY hRoot, const char* pPath)
try
{
    ORegParams::Init(hRoot, pPath);
    SetCurrent();
}
catch (...) { LogCaught("OTorchParams::Init"); throw; }

void OTorchParams::SetCurrent()
try
{
    mSetName = "Current";
}
catch (...) { LogCaught("OTorchParams::SetCurrent"); throw; }

void OTorchParams::SetDefault()
try
{
    mSetName = "Default";
}
catch (...) { LogCaught("OTorchParams::SetDefault"); throw; }

// The work of every getter and setter, and its call frame: pWhere is the public method's name. --------------------------------

void OTorchParams::OpenPhase(const char* pPhase)
{
    CString sSubKey;
    sSubKey.GetBuffer(31); // a set and a phase, in one allocation
    sSubKey += mSetName;
    sSubKey += pPhase;
    Open(sSubKey);
}

double OTorchParams::Read(const char* pWhere, const char* pPhase, const char* pName, double fDefault)
try
{
    OpenPhase(pPhase);
    const double fValue = mpRegistry->ReadDouble(pName, fDefault);
    Close();
    return fValue;
}
catch (...) { LogCaught(pWhere); throw; }

void OTorchParams::Write(const char* pWhere, const char* pPhase, const char* pName, double fValue)
try
{
    constexpr int kiDecimals = 2;
    OpenPhase(pPhase);
    mpRegistry->WriteDouble(pName, fValue, kiDecimals);
    Close();
}
catch (...) { LogCaught(pWhere); throw; }

// The set's own key ----------------------------------------------------------------------------------------------------------
static constexpr char kacSet[] = "";

double OTorchParams::GetFilamentWarmUpTime()
{
    return Read("OTorchParams::GetFilamentWarmUpTime", kacSet, "FilamentWarmUpTime", 30.0);
}
void OTorchParams::SetFilamentWarmUpTime(double fValue)
{
    Write("OTorchParams::SetFilamentWarmUpTime", kacSet, "FilamentWarmUpTime", fValue);
}

// Purge phase --------------------------------------------------------------------------------------------------------------
static constexpr char kacPurge[] = "\\PurgePhase";

double OTorchParams::GetPurgeAuxFlow() { return Read("OTorchParams::GetPurgeAuxFlow", kacPurge, "AuxiliaryFlow", 2.25); }
double OTorchParams::GetPurgePlasmaFlow() { return Read("OTorchParams::GetPurgePlasmaFlow", kacPurge, "PlasmaFlow", 22.5); }
double OTorchParams::GetPurgeNebulizerFlow() { return Read("OTorchParams::GetPurgeNebulizerFlow", kacPurge, "NebulizerFlow", 5.0); }
double OTorchParams::GetPurgePower() { return Read("OTorchParams::GetPurgePower", kacPurge, "Power", 0.0); }
double OTorchParams::GetPurgeDuration() { return Read("OTorchParams::GetPurgeDuration", kacPurge, "Time", 15.0); }
double OTorchParams::GetPurgePumpRate() { return Read("OTorchParams::GetPurgePumpRate", kacPurge, "Pump", 20.0); }

void OTorchParams::SetPurgeAuxFlow(double fValue) { Write("OTorchParams::SetPurgeAuxFlow", kacPurge, "AuxiliaryFlow", fValue); }
void OTorchParams::SetPurgePlasmaFlow(double fValue) { Write("OTorchParams::SetPurgePlasmaFlow", kacPurge, "PlasmaFlow", fValue); }
void OTorchParams::SetPurgeNebulizerFlow(double fValue)
{
    Write("OTorchParams::SetPurgeNebulizerFlow", kacPurge, "NebulizerFlow", fValue);
}
void OTorchParams::SetPurgePower(double fValue) { Write("OTorchParams::SetPurgePower", kacPurge, "Power", fValue); }
void OTorchParams::SetPurgeDuration(double fValue) { Write("OTorchParams::SetPurgeDuration", kacPurge, "Time", fValue); }

// Delay phase --------------------------------------------------------------------------------------------------------------
static constexpr char kacDelay[] = "\\DelayPhase";

double OTorchParams::GetDelayAuxFlow() { return Read("OTorchParams::GetDelayAuxFlow", kacDelay, "AuxiliaryFlow", 2.25); }
double OTorchParams::GetDelayPlasmaFlow() { return Read("OTorchParams::GetDelayPlasmaFlow", kacDelay, "PlasmaFlow", 22.5); }
double OTorchParams::GetDelayNebulizerFlow() { return Read("OTorchParams::GetDelayNebulizerFlow", kacDelay, "NebulizerFlow", 0.0); }
double OTorchParams::GetDelayPower() { return Read("OTorchParams::GetDelayPower", kacDelay, "Power", 0.0); }
double OTorchParams::GetDelayDuration() { return Read("OTorchParams::GetDelayDuration", kacDelay, "Time", 5.0); }
double OTorchParams::GetDelayPumpRate() { return Read("OTorchParams::GetDelayPumpRate", kacDelay, "Pump", 0.0); }

void OTorchParams::SetDelayAuxFlow(double fValue) { Write("OTorchParams::SetDelayAuxFlow", kacDelay, "AuxiliaryFlow", fValue); }
void OTorchParams::SetDelayPlasmaFlow(double fValue) { Write("OTorchParams::SetDelayPlasmaFlow", kacDelay, "PlasmaFlow", fValue); }
void OTorchParams::SetDelayNebulizerFlow(double fValue)
{
    Write("OTorchParams::SetDelayNebulizerFlow", kacDelay, "NebulizerFlow", fValue);
}
void OTorchParams::SetDelayPower(double fValue) { Write("OTorchParams::SetDelayPower", kacDelay, "Power", fValue); }
void OTorchParams::SetDelayDuration(double fValue) { Write("OTorchParams::SetDelayDuration", kacDelay, "Time", fValue); }

// Light phase --------------------------------------------------------------------------------------------------------------
static constexpr char kacLight[] = "\\LightPhase";

double OTorchParams::GetLightAuxFlow() { return Read("OTorchParams::GetLightAuxFlow", kacLight, "AuxiliaryFlow", 1.5); }
double OTorchParams::GetLightPlasmaFlow() { return Read("OTorchParams::GetLightPlasmaFlow", kacLight, "PlasmaFlow", 1.5); }
double OTorchParams::GetLightNebulizerFlow() { return Read("OTorchParams::GetLightNebulizerFlow", kacLight, "NebulizerFlow", 0.0); }
double OTorchParams::GetLightPower() { return Read("OTorchParams::GetLightPower", kacLight, "Power", 2.0); }
double OTorchParams::GetLightDuration() { return Read("OTorchParams::GetLightDuration", kacLight, "Time", 3.0); }
double OTorchParams::GetLightPumpRate() { return Read("OTorchParams::GetLightPumpRate", kacLight, "Pump", 0.0); }

void OTorchParams::SetLightAuxFlow(double fValue) { Write("OTorchParams::SetLightAuxFlow", kacLight, "AuxiliaryFlow", fValue); }
void OTorchParams::SetLightPlasmaFlow(double fValue) { Write("OTorchParams::SetLightPlasmaFlow", kacLight, "PlasmaFlow", fValue); }
void OTorchParams::SetLightNebulizerFlow(double fValue)
{
    Write("OTorchParams::SetLightNebulizerFlow", kacLight, "NebulizerFlow", fValue);
}
void OTorchParams::SetLightPower(double fValue) { Write("OTorchParams::SetLightPower", kacLight, "Power", fValue); }
void OTorchParams::SetLightDuration(double fValue) { Write("OTorchParams::SetLightDuration", kacLight, "Time", fValue); }

// Run phase ----------------------------------------------------------------------------------------------------------------
static constexpr char kacRun[] = "\\RunPhase";

double OTorchParams::GetRunAuxFlow() { return Read("OTorchParams::GetRunAuxFlow", kacRun, "AuxiliaryFlow", 1.5); }
double OTorchParams::GetRunPlasmaFlow() { return Read("OTorchParams::GetRunPlasmaFlow", kacRun, "PlasmaFlow", 15.0); }
double OTorchParams::GetRunNebulizerFlow() { return Read("OTorchParams::GetRunNebulizerFlow", kacRun, "NebulizerFlow", 5.0); }
double OTorchParams::GetRunPower() { return Read("OTorchParams::GetRunPower", kacRun, "Power", 1.2); }
double OTorchParams::GetRunDuration() { return Read("OTorchParams::GetRunDuration", kacRun, "Time", 3.0); }
double OTorchParams::GetRunPumpRate() { return Read("OTorchParams::GetRunPumpRate", kacRun, "Pump", 10.0); }

void OTorchParams::SetRunAuxFlow(double fValue) { Write("OTorchParams::SetRunAuxFlow", kacRun, "AuxiliaryFlow", fValue); }
void OTorchParams::SetRunPlasmaFlow(double fValue) { Write("OTorchParams::SetRunPlasmaFlow", kacRun, "PlasmaFlow", fValue); }
void OTorchParams::SetRunNebulizerFlow(double fValue)
{
    Write("OTorchParams::SetRunNebulizerFlow", kacRun, "NebulizerFlow", fValue);
}
void OTorchParams::SetRunPower(double fValue) { Write("OTorchParams::SetRunPower", kacRun, "Power", fValue); }
void OTorchParams::SetRunDuration(double fValue) { Write("OTorchParams::SetRunDuration", kacRun, "Time", fValue); }
