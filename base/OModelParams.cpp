#include "OModelParams.h"

#include "ORegistry.h"

OModelParams::OModelParams(int iInitNow, HKEY hRoot, const char* pPath)
{
    try
    {
        if (iInitNow) Init(hRoot, pPath);
    }
    catch (...) { LogCaught("OModelParams::OModelParams"); throw; }
}

void OModelParams::Init(HKEY hRoot, const char* pPath)
try
{
    ORegParams::Init(hRoot, pPath);
}
catch (...) { LogCaught("OModelParams::Init"); throw; }

ULONG OModelParams::Query(const char* pName, ULONG ulDefault)
{
    Open(nullptr);
    const ULONG ulValue = mpRegistry->QueryDwordValue(pName, ulDefault);
    Close();
    return ulValue;
}

CString OModelParams::GetModelName()
try
{
    CString sName;
    Open(nullptr);
    mpRegistry->QueryStringValue("ModelName", "DefaultModelName", sName);
    Close();
    return sName;
}
catch (...) { LogCaught("OModelParams::GetModelName"); throw; }

int OModelParams::IsAxial()
try
{
    return Query("Radial", 1) == 0;
}
catch (...) { LogCaught("OModelParams::IsAxial"); throw; }

int OModelParams::IsRadial()
try
{
    return static_cast<int>(Query("Radial", 0));
}
catch (...) { LogCaught("OModelParams::IsRadial"); throw; }

int OModelParams::IsVacuumOptionFitted()
try
{
    return Query("VacuumFitted", 0) == 0;
}
catch (...) { LogCaught("OModelParams::IsVacuumOptionFitted"); throw; }

int OModelParams::IsWaterCooledRf() { return Query("WaterCooledRf", 0) == 0; }

// Logs have always named this class so.
OModelParamsEs::OModelParamsEs(int iInitNow, HKEY hRoot, const char* pPath)
{
    try
    {
        if (iInitNow) Init(hRoot, pPath);
    }
    catch (...) { LogCaught("OModelParamsWs::OModelParamsWs"); throw; }
}

void OModelParamsEs::Init(HKEY hRoot, const char* pPath)
try
{
    OModelParams::Init(hRoot, pPath);
}
catch (...) { LogCaught("OModelParamsWs::Init"); throw; }
