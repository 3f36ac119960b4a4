// The simulator's parameters.
#include "OSimParams.h"

#include "Raises.h"
#include "RegistryBranch.h"

namespace
{
class OSim : public RegistryBranch
{
protected:
    OSim() { MakeKey("Simulator"); }

    void ForgetKey() { RegDeleteTreeA(HKEY_LOCAL_MACHINE, Path("Simulator").c_str()); }

    OSimParams sim{1};
};
} // namespace

TEST_F(OSim, RunsSimulatedUnlessToldOtherwise)
{
    EXPECT_EQ(sim.IsSimMode(), 1);
    EXPECT_EQ(StoredNumber("Simulator", "SimModeOn"), 1u);
    StoreNumber("Simulator", "SimModeOn", 0);
    EXPECT_EQ(sim.IsSimMode(), 0);
    StoreNumber("Simulator", "SimModeOn", 7);
    EXPECT_EQ(sim.IsSimMode(), 7);
}

TEST_F(OSim, ReadsItsFactorAsText)
{
    EXPECT_EQ(sim.GetAccelFactor(), 1.0);
    EXPECT_EQ(Stored("Simulator", "Acceleration"), std::nullopt);
    StoreText("Simulator", "Acceleration", "12.50");
    EXPECT_EQ(sim.GetAccelFactor(), 12.5);
    StoreNumber("Simulator", "Acceleration", 3);
    EXPECT_EQ(sim.GetAccelFactor(), 1.0);
}

TEST_F(OSim, RaisesForTheModeAndDefaultsForTheFactorWhenItsKeyIsMissing)
{
    ForgetKey();
    EXPECT_RAISES(sim.IsSimMode(), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryDwordValue | Object is not initialised: mhKey=NULL"});
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::QueryDwordValue", "Caught in OSimParams::IsSimMode"}));
    EXPECT_EQ(sim.GetAccelFactor(), 1.0);
    EXPECT_FALSE(HasKey("Simulator"));
}

TEST_F(OSim, RaisesEightForAModeOfAnotherType)
{
    StoreText("Simulator", "SimModeOn", "1");
    EXPECT_RAISES(sim.IsSimMode(), 19008);
}

TEST_F(OSim, IsNotInitialisedByItsDefaultArguments)
{
    OSimParams block;
    EXPECT_EQ(block.GetRootKeyHandle(), nullptr);
    EXPECT_EQ(block.GetPath(), "");
    block.Init(HKEY_LOCAL_MACHINE, "Simulator");
    EXPECT_EQ(block.IsSimMode(), 1);
    EXPECT_EQ(OSimParams(1).GetPath(), "Simulator");
    EXPECT_EQ(OSimParams(1, HKEY_CURRENT_USER, "Other").GetRootKeyHandle(), HKEY_CURRENT_USER);
}

TEST_F(OSim, HasASecondNameWithTheSameMembers)
{
    StoreText("Simulator", "Acceleration", "2.00");
    OSimParamsWs block;
    EXPECT_EQ(block.GetPath(), "");
    block.Init(HKEY_LOCAL_MACHINE, "Simulator");
    EXPECT_EQ(block.GetAccelFactor(), 2.0);
    EXPECT_EQ(OSimParamsWs(1).GetPath(), "Simulator");
    EXPECT_EQ(OSimParamsWs(1, HKEY_LOCAL_MACHINE, "Other").GetPath(), "Other");
}
