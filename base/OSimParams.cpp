#include "OSimParams.h"

#include "ORegistry.h"

OSimParams::OSimParams(int iInitNow, HKEY hRoot, const char* pPath)
{
    try
    {
        if (iInitNow) Init(hRoot, pPath);
    }
    catch (...) { LogCaught("OSimParams::OSimParams"); throw; }
}

void OSimParams::Init(HKEY hRoot, const char* pPath)
try
{
    ORegParams::Init(hRoot, pPath);
}
catch (...) { LogCaught("OSimParams::Init"); throw; }

int OSimParams::IsSimMode()
try
{
    Open(nullptr);
    const ULONG ulMode = mpRegistry->QueryDwordValue("SimModeOn", 1);
    Close();
    return static_cast<int>(ulMode);
}
catch (...) { LogCaught("OSimParams::IsSimMode"); throw; }

double OSimParams::GetAccelFactor()
try
{
    Open(nullptr);
    const double fFactor = mpRegistry->ReadDouble("Acceleration", 1.0);
    Close();
    return fFactor;
}
catch (...) { LogCaught("OSimParams::GetAccelFactor"); throw; }

OSimParamsWs::OSimParamsWs(int iInitNow, HKEY hRoot, const char* pPath)
{
    try
    {
        if (iInitNow) Init(hRoot, pPath);
    }
    catch (...) { LogCaught("OSimParamsWs::OSimParamsWs"); throw; }
}

void OSimParamsWs::Init(HKEY hRoot, const char* pPath)
try
{
    OSimParams::Init(hRoot, pPath);
}
catch (...) { LogCaught("OSimParamsWs::Init"); throw; }
