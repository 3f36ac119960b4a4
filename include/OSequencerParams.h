// The timing constants of the measurement sequencer.
//
//  * Init opens the block's key, and it stays open until Close, another Open or the object's end.
//  * Numbers are text with two decimals; with the block's key missing, reads give defaults and writes do nothing.
#pragma once

#include "ORegParams.h"

class OSequencerParams : public ORegParams
{
public:
    // iInitNow 0: Init is still to be called, with the root and path that the block is to have.
    OSequencerParams(int iInitNow = 0, HKEY hRoot = HKEY_LOCAL_MACHINE, const char* pPath = "Sequencer");
    OSequencerParams(const OSequencerParams&) = default;
    OSequencerParams& operator=(const OSequencerParams&) = default;

    void Init(HKEY hRoot, const char* pPath);
};

// These use the open key. Before Init, and after Close, it is as if that were missing.
class OSequencerParamsWs : public OSequencerParams
{
public:
    OSequencerParamsWs(int iInitNow = 0, HKEY hRoot = HKEY_LOCAL_MACHINE, const char* pPath = "Sequencer");
    OSequencerParamsWs(const OSequencerParamsWs&) = default;
    OSequencerParamsWs& operator=(const OSequencerParamsWs&) = default;

    void Init(HKEY hRoot, const char* pPath);

    double GetMinTimePercentage(); // 80.0
    double GetSeedTime();          // 0.1
    void SetMinTimePercentage(double fValue);
    void SetSeedTime(double fValue);
};
