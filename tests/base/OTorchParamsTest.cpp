// The torch's ignition parameters.
#include "OTorchParams.h"

#include "Raises.h"
#include "RecordingSecurity.h"
#include "RegistryBranch.h"

namespace
{
struct OTorchValue
{
    const char* pName; // of the members, without Get and Set
    const char* pPhase;
    const char* pValue;
    double (OTorchParams::*pGet)();
    double fDefault;
    void (OTorchParams::*pSet)(double);
};
using T = OTorchParams;
const OTorchValue kValues[] = {
    {"FilamentWarmUpTime", "", "FilamentWarmUpTime", &T::GetFilamentWarmUpTime, 30.0, &T::SetFilamentWarmUpTime},

    {"PurgeAuxFlow", "\\PurgePhase", "AuxiliaryFlow", &T::GetPurgeAuxFlow, 2.25, &T::SetPurgeAuxFlow},
    {"PurgePlasmaFlow", "\\PurgePhase", "PlasmaFlow", &T::GetPurgePlasmaFlow, 22.5, &T::SetPurgePlasmaFlow},
    {"PurgeNebulizerFlow", "\\PurgePhase", "NebulizerFlow", &T::GetPurgeNebulizerFlow, 5.0, &T::SetPurgeNebulizerFlow},
    {"PurgePower", "\\PurgePhase", "Power", &T::GetPurgePower, 0.0, &T::SetPurgePower},
    {"PurgeDuration", "\\PurgePhase", "Time", &T::GetPurgeDuration, 15.0, &T::SetPurgeDuration},
    {"PurgePumpRate", "\\PurgePhase", "Pump", &T::GetPurgePumpRate, 20.0, nullptr},

    {"DelayAuxFlow", "\\DelayPhase", "AuxiliaryFlow", &T::GetDelayAuxFlow, 2.25, &T::SetDelayAuxFlow},
    {"DelayPlasmaFlow", "\\DelayPhase", "PlasmaFlow", &T::GetDelayPlasmaFlow, 22.5, &T::SetDelayPlasmaFlow},
    {"DelayNebulizerFlow", "\\DelayPhase", "NebulizerFlow", &T::GetDelayNebulizerFlow, 0.0, &T::SetDelayNebulizerFlow},
    {"DelayPower", "\\DelayPhase", "Power", &T::GetDelayPower, 0.0, &T::SetDelayPower},
    {"DelayDuration", "\\DelayPhase", "Time", &T::GetDelayDuration, 5.0, &T::SetDelayDuration},
    {"DelayPumpRate", "\\DelayPhase", "Pump", &T::GetDelayPumpRate, 0.0, nullptr},

    {"LightAuxFlow", "\\LightPhase", "AuxiliaryFlow", &T::GetLightAuxFlow, 1.5, &T::SetLightAuxFlow},
    {"LightPlasmaFlow", "\\LightPhase", "PlasmaFlow", &T::GetLightPlasmaFlow, 1.5, &T::SetLightPlasmaFlow},
    {"LightNebulizerFlow", "\\LightPhase", "NebulizerFlow", &T::GetLightNebulizerFlow, 0.0, &T::SetLightNebulizerFlow},
    {"LightPower", "\\LightPhase", "Power", &T::GetLightPower, 2.0, &T::SetLightPower},
    {"LightDuration", "\\LightPhase", "Time", &T::GetLightDuration, 3.0, &T::SetLightDuration},
    {"LightPumpRate", "\\LightPhase", "Pump", &T::GetLightPumpRate, 0.0, nullptr},

    {"RunAuxFlow", "\\RunPhase", "AuxiliaryFlow", &T::GetRunAuxFlow, 1.5, &T::SetRunAuxFlow},
    {"RunPlasmaFlow", "\\RunPhase", "PlasmaFlow", &T::GetRunPlasmaFlow, 15.0, &T::SetRunPlasmaFlow},
    {"RunNebulizerFlow", "\\RunPhase", "NebulizerFlow", &T::GetRunNebulizerFlow, 5.0, &T::SetRunNebulizerFlow},
    {"RunPower", "\\RunPhase", "Power", &T::GetRunPower, 1.2, &T::SetRunPower},
    {"RunDuration", "\\RunPhase", "Time", &T::GetRunDuration, 3.0, &T::SetRunDuration},
    {"RunPumpRate", "\\RunPhase", "Pump", &T::GetRunPumpRate, 10.0, nullptr},
};

class OTorch : public RegistryBranch
{
protected:
    static std::string Key(const std::string& sSet, const OTorchValue& value) { return "Ignition\\" + sSet + value.pPhase; }

    void MakeEveryKey()
    {
        for (const char* pSet : {"Current", "Default"})
            for (const OTorchValue& value : kValues) MakeKey(Key(pSet, value));
    }

    OTorchParams torch{1};
};
} // namespace

TEST_F(OTorch, GivesDefaultsWhereNothingIsStored)
{
    for (const OTorchValue& value : kValues) EXPECT_EQ((torch.*value.pGet)(), value.fDefault) << value.pName;
    EXPECT_FALSE(HasKey("Ignition"));
    MakeEveryKey();
    for (const OTorchValue& value : kValues)
    {
        EXPECT_EQ((torch.*value.pGet)(), value.fDefault) << value.pName;
        EXPECT_EQ(Stored(Key("Current", value), value.pValue), std::nullopt);
    }
}

TEST_F(OTorch, ReadsEveryValueFromItsPlaceInTheSelectedSet)
{
    int iValue = 0;
    for (const OTorchValue& value : kValues)
    {
        StoreText(Key("Current", value), value.pValue, std::to_string(++iValue) + ".50");
        StoreText(Key("Default", value), value.pValue, std::to_string(iValue) + ".75");
    }
    for (const double fHundredths : {0.5, 0.75})
    {
        iValue = 0;
        for (const OTorchValue& value : kValues) EXPECT_EQ((torch.*value.pGet)(), ++iValue + fHundredths) << value.pName;
        torch.SetDefault();
    }
    torch.SetCurrent();
    EXPECT_EQ(torch.GetFilamentWarmUpTime(), 1.5);
}

TEST_F(OTorch, WritesEveryValueToItsPlaceInTheSelectedSet)
{
    MakeEveryKey();
    int iValue = 0;
    for (const OTorchValue& value : kValues)
    {
        ++iValue;
        if (!value.pSet) continue;
        torch.SetCurrent();
        (torch.*value.pSet)(iValue + 0.5);
        torch.SetDefault();
        (torch.*value.pSet)(iValue + 0.75);
    }
    iValue = 0;
    for (const OTorchValue& value : kValues)
    {
        ++iValue;
        const auto expected = [&](const char* pDecimals)
        {
            return value.pSet ? std::optional(std::to_string(iValue) + pDecimals) : std::nullopt;
        };
        EXPECT_EQ(StoredText(Key("Current", value), value.pValue), expected(".50")) << value.pName;
        EXPECT_EQ(StoredText(Key("Default", value), value.pValue), expected(".75")) << value.pName;
    }
}

TEST_F(OTorch, SelectsTheCurrentSetOnInit)
{
    StoreText("Ignition\\Current", "FilamentWarmUpTime", "1.00");
    StoreText("Ignition\\Default", "FilamentWarmUpTime", "2.00");
    EXPECT_EQ(torch.GetFilamentWarmUpTime(), 1.0);
    torch.SetDefault();
    EXPECT_EQ(torch.GetFilamentWarmUpTime(), 2.0);
    EXPECT_EQ(torch.GetFilamentWarmUpTime(), 2.0);
    torch.Init(HKEY_LOCAL_MACHINE, "Ignition");
    EXPECT_EQ(torch.GetFilamentWarmUpTime(), 1.0);
}

TEST_F(OTorch, ReadsTheDefaultSetsPurgeTimeAsItsDuration)
{
    StoreText("Ignition\\Default\\PurgePhase", "Time", "17.00");
    torch.SetDefault();
    EXPECT_EQ(torch.GetPurgeDuration(), 17.0);
    EXPECT_EQ(torch.GetFullPathNameA(), "Ignition\\Default\\PurgePhase");
}

TEST_F(OTorch, IsNotInitialisedByItsDefaultArguments)
{
    StoreText("Ignition\\Current", "FilamentWarmUpTime", "1.00");
    OTorchParams block;
    EXPECT_EQ(block.GetRootKeyHandle(), nullptr);
    EXPECT_EQ(block.GetPath(), "");
    EXPECT_EQ(block.GetFilamentWarmUpTime(), 30.0);
    block.SetCurrent();
    EXPECT_EQ(block.GetFilamentWarmUpTime(), 30.0);
    block.Init(HKEY_LOCAL_MACHINE, "Ignition");
    EXPECT_EQ(block.GetFilamentWarmUpTime(), 1.0);

    OTorchParams elsewhere(1, HKEY_LOCAL_MACHINE, "Other");
    StoreText("Other\\Current", "FilamentWarmUpTime", "3.00");
    EXPECT_EQ(elsewhere.GetFilamentWarmUpTime(), 3.0);
    EXPECT_EQ(elsewhere.GetErrorBase(), 27500u);
}

TEST_F(OTorch, CopiesTheSelectedSet)
{
    StoreText("Ignition\\Default", "FilamentWarmUpTime", "2.00");
    torch.SetDefault();
    OTorchParams copy(torch);
    EXPECT_EQ(copy.GetFilamentWarmUpTime(), 2.0);
    OTorchParams assigned;
    assigned = torch;
    EXPECT_EQ(assigned.GetFilamentWarmUpTime(), 2.0);
}

TEST_F(OTorch, NeverMakesAKey)
{
    MakeKey("Ignition\\Current");
    EXPECT_EQ(torch.GetRunPower(), 1.2);
    torch.SetRunPower(1.3);
    EXPECT_FALSE(HasKey("Ignition\\Current\\RunPhase"));
    EXPECT_EQ(torch.GetRunPower(), 1.2);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(OTorch, StoresTwoDecimals)
{
    MakeEveryKey();
    torch.SetPurgeNebulizerFlow(0.126);
    EXPECT_EQ(StoredText("Ignition\\Current\\PurgePhase", "NebulizerFlow"), "0.13");
    EXPECT_EQ(torch.GetPurgeNebulizerFlow(), 0.13);
    torch.SetPurgeAuxFlow(2.25);
    EXPECT_EQ(StoredText("Ignition\\Current\\PurgePhase", "AuxiliaryFlow"), "2.25");
    torch.SetPurgePlasmaFlow(22.5);
    EXPECT_EQ(StoredText("Ignition\\Current\\PurgePhase", "PlasmaFlow"), "22.50");
}

TEST_F(OTorch, LeavesThePumpRateAsItIs)
{
    MakeEveryKey();
    torch.SetRunPumpRate(12.0);
    EXPECT_EQ(Stored("Ignition\\Current\\RunPhase", "Pump"), std::nullopt);
    EXPECT_EQ(torch.GetRunPumpRate(), 10.0);
    StoreText("Ignition\\Current\\RunPhase", "Pump", "11.00");
    torch.SetRunPumpRate(12.0);
    EXPECT_EQ(torch.GetRunPumpRate(), 11.0);
}

TEST_F(OTorch, ReadsTextAlone)
{
    StoreNumber("Ignition\\Current\\RunPhase", "Power", 5);
    EXPECT_EQ(torch.GetRunPower(), 1.2);
    StoreText("Ignition\\Current\\RunPhase", "Power", "");
    EXPECT_EQ(torch.GetRunPower(), 1.2);
    StoreText("Ignition\\Current\\RunPhase", "Power", "high");
    EXPECT_EQ(torch.GetRunPower(), 0.0);
}

TEST_F(OTorch, IsClosedAfterEveryCall)
{
    MakeEveryKey();
    class OShown : public OTorchParams
    {
    public:
        using OTorchParams::OTorchParams;
        bool IsOpen() const { return mpRegistry != nullptr; }
    } shown(1);
    for (const OTorchValue& value : kValues)
    {
        (shown.*value.pGet)();
        EXPECT_FALSE(shown.IsOpen());
        if (value.pSet) (shown.*value.pSet)(1);
        EXPECT_FALSE(shown.IsOpen());
    }
}

TEST_F(OTorch, LogsEveryMemberByItsName)
{
    RecordingSecurity security;
    security.onImpersonate = [] { OBase().Raise(1); };
    const auto places = [](const std::string& sMember)
    {
        return Lines{"Caught in ORegistry::OpenKey", "Caught in ORegParams::Open", "Caught in OTorchParams::" + sMember};
    };
    for (const OTorchValue& value : kValues)
    {
        EXPECT_RAISES((torch.*value.pGet)(), 1);
        EXPECT_EQ(log.Places(), places(std::string("Get") + value.pName));
        if (!value.pSet) continue;
        EXPECT_RAISES((torch.*value.pSet)(1), 1);
        EXPECT_EQ(log.Places(), places(std::string("Set") + value.pName));
    }
}
