// The installed instrument: its name, its viewing orientation and the options that are fitted.
//
//  * What is missing in the block's key is written there with its default and answered.
//  * Raises 19004 when the block's key is missing, 19008 when a value has another type.
#pragma once

#include "ORegParams.h"

class OModelParams : public ORegParams
{
public:
    // iInitNow 0: Init is still to be called, with the root and path that the block is to have.
    OModelParams(int iInitNow = 0, HKEY hRoot = HKEY_LOCAL_MACHINE, const char* pPath = "Model");
    OModelParams(const OModelParams&) = default;
    OModelParams& operator=(const OModelParams&) = default;

    void Init(HKEY hRoot, const char* pPath);

    CString GetModelName();
    // IsRadial: the stored number itself. IsAxial: 1 where that is 0. Whoever asks first decides what a missing one is stored as.
    int IsAxial();
    int IsRadial();
    // 1 where the stored flag is 0: what is fitted says so with a 0.
    int IsVacuumOptionFitted();
    int IsWaterCooledRf();

private:
    ULONG Query(const char* pName, ULONG ulDefault);
};

class OModelParamsEs : public OModelParams
{
public:
    OModelParamsEs(int iInitNow = 0, HKEY hRoot = HKEY_LOCAL_MACHINE, const char* pPath = "Model");
    OModelParamsEs(const OModelParamsEs&) = default;
    OModelParamsEs& operator=(const OModelParamsEs&) = default;

    void Init(HKEY hRoot, const char* pPath);
};
