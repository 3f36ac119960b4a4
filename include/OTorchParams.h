// The torch's ignition sequence: flows, power, duration and pump rate of four phases, and the filament's warm-up time.
//
//  * Two sets side by side, "Current" to work with and "Default" from the factory; the selected one is read and written.
//  * Numbers are text with two decimals; units are the caller's. What is missing reads as the default beside the getter.
//  * Setters never make a key: with the phase's key missing they do nothing.
#pragma once

#include "ORegParams.h"

class OTorchParams : public ORegParams
{
public:
    // iInitNow 0: Init is still to be called, with the root and path that the block is to have.
    OTorchParams(int iInitNow = 0, HKEY hRoot = HKEY_LOCAL_MACHINE, const char* pPath = "Ignition");
    OTorchParams(const OTorchParams&) = default;
    OTorchParams& operator=(const OTorchParams&) = default;

    void Init(HKEY hRoot, const char* pPath); // and selects "Current"
    void SetCurrent();
    void SetDefault();

    double GetFilamentWarmUpTime(); // 30.0
    void SetFilamentWarmUpTime(double fValue);

    double GetPurgeAuxFlow();       // 2.25
    double GetPurgePlasmaFlow();    // 22.5
    double GetPurgeNebulizerFlow(); // 5.0
    double GetPurgePower();         // 0.0
    double GetPurgeDuration();      // 15.0
    double GetPurgePumpRate();      // 20.0
    void SetPurgeAuxFlow(double fValue);
    void SetPurgePlasmaFlow(double fValue);
    void SetPurgeNebulizerFlow(double fValue);
    void SetPurgePower(double fValue);
    void SetPurgeDuration(double fValue);

    double GetDelayAuxFlow();       // 2.25
    double GetDelayPlasmaFlow();    // 22.5
    double GetDelayNebulizerFlow(); // 0.0
    double GetDelayPower();         // 0.0
    double GetDelayDuration();      // 5.0
    double GetDelayPumpRate();      // 0.0
    void SetDelayAuxFlow(double fValue);
    void SetDelayPlasmaFlow(double fValue);
    void SetDelayNebulizerFlow(double fValue);
    void SetDelayPower(double fValue);
    void SetDelayDuration(double fValue);

    double GetLightAuxFlow();       // 1.5
    double GetLightPlasmaFlow();    // 1.5
    double GetLightNebulizerFlow(); // 0.0
    double GetLightPower();         // 2.0
    double GetLightDuration();      // 3.0
    double GetLightPumpRate();      // 0.0
    void SetLightAuxFlow(double fValue);
    void SetLightPlasmaFlow(double fValue);
    void SetLightNebulizerFlow(double fValue);
    void SetLightPower(double fValue);
    void SetLightDuration(double fValue);

    double GetRunAuxFlow();       // 1.5
    double GetRunPlasmaFlow();    // 15.0
    double GetRunNebulizerFlow(); // 5.0
    double GetRunPower();         // 1.2
    double GetRunDuration();      // 3.0
    double GetRunPumpRate();      // 10.0
    void SetRunAuxFlow(double fValue);
    void SetRunPlasmaFlow(double fValue);
    void SetRunNebulizerFlow(double fValue);
    void SetRunPower(double fValue);
    void SetRunDuration(double fValue);
    void SetRunPumpRate(double) {} // pump rates are read-only: does nothing

private:
    void OpenPhase(const char* pPhase);
    double Read(const char* pWhere, const char* pPhase, const char* pName, double fDefault);
    void Write(const char* pWhere, const char* pPhase, const char* pName, double fValue);

    CString mSetName; // empty until Init or a selection
};
