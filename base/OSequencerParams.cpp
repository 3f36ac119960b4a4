#include "OSequencerParams.h"

#include "ORegistry.h"

constexpr int kiDecimals = 2;

OSequencerParams::OSequencerParams(int iInitNow, HKEY hRoot, const char* pPath)
{
    try
    {
        if (iInitNow) Init(hRoot, pPath);
    }
    catch (...) { LogCaught("OSequencerParams::OSequencerParams"); throw; }
}

void OSequencerParams::Init(HKEY hRoot, const char* pPath)
try
{
    ORegParams::Init(hRoot, pPath);
    Open(nullptr);
}
catch (...) { LogCaught("OSequencerParams::Init"); throw; }

OSequencerParamsWs::OSequencerParamsWs(int iInitNow, HKEY hRoot, const char* pPath)
{
    try
    {
        if (iInitNow) Init(hRoot, pPath);
    }
    catch (...) { LogCaught("OSequencerParamsWs::OSequencerParamsWs"); throw; }
}

void OSequencerParamsWs::Init(HKEY hRoot, const char* pPath)
try
{
    OSequencerParams::Init(hRoot, pPath);
}
catch (...) { LogCaught("OSequencerParamsWs::Init"); throw; }

double OSequencerParamsWs::GetMinTimePercentage()
try
{
    return mpRegistry ? mpRegistry->ReadDouble("MinTimePercentage", 80.0) : 80.0;
}
catch (...) { LogCaught("OSequencerParamsWs::GetMinTimePercentage"); throw; }

double OSequencerParamsWs::GetSeedTime()
try
{
    return mpRegistry ? mpRegistry->ReadDouble("SeedTime", 0.1) : 0.1;
}
catch (...) { LogCaught("OSequencerParamsWs::GetSeedTime"); throw; }

void OSequencerParamsWs::SetMinTimePercentage(double fValue)
try
{
    if (mpRegistry) mpRegistry->WriteDouble("MinTimePercentage", fValue, kiDecimals);
}
catch (...) { LogCaught("OSequencerParamsWs::SetMinTimePercentage"); throw; }

void OSequencerParamsWs::SetSeedTime(double fValue)
try
{
    if (mpRegistry) mpRegistry->WriteDouble("SeedTime", fValue, kiDecimals);
}
catch (...) { LogCaught("OSequencerParamsWs::SetSeedTime"); throw; }
