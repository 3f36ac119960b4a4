// Whether the instrument is simulated, and how fast simulated time runs.
#pragma once

#include "ORegParams.h"

class OSimParams : public ORegParams
{
public:
    // iInitNow 0: Init is still to be called, with the root and path that the block is to have.
    OSimParams(int iInitNow = 0, HKEY hRoot = HKEY_LOCAL_MACHINE, const char* pPath = "Simulator");
    OSimParams(const OSimParams&) = default;
    OSimParams& operator=(const OSimParams&) = default;

    void Init(HKEY hRoot, const char* pPath);

    // The stored number. Missing: 1, and it is stored. Raises 19004 when the block's key is missing, 19008 for another type.
    int IsSimMode();
    double GetAccelFactor(); // 1.0 when missing
};

class OSimParamsWs : public OSimParams
{
public:
    OSimParamsWs(int iInitNow = 0, HKEY hRoot = HKEY_LOCAL_MACHINE, const char* pPath = "Simulator");
    OSimParamsWs(const OSimParamsWs&) = default;
    OSimParamsWs& operator=(const OSimParamsWs&) = default;

    void Init(HKEY hRoot, const char* pPath);
};
