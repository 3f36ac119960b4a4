// The measurement sequencer's parameters.
#include "OSequencerParams.h"

#include "Raises.h"
#include "RecordingSecurity.h"
#include "RegistryBranch.h"

namespace
{
using OSequencer = RegistryBranch;

// Shows the key that a block has open.
template <class Block>
class OShown : public Block
{
public:
    using Block::Block;
    ORegistry* Registry() const { return this->mpRegistry; }
};
} // namespace

TEST_F(OSequencer, KeepsItsKeyOpenFromInitToItsEnd)
{
    MakeKey("Sequencer");
    HKEY hKey = nullptr;
    {
        OShown<OSequencerParams> block;
        EXPECT_EQ(block.Registry(), nullptr);
        block.Init(HKEY_LOCAL_MACHINE, "Sequencer");
        ASSERT_NE(block.Registry(), nullptr);
        hKey = block.Registry()->GetKeyHandle();
    }
    EXPECT_EQ(RegCloseKey(hKey), ERROR_INVALID_HANDLE);

    OShown<OSequencerParamsWs> block(1);
    hKey = block.Registry()->GetKeyHandle();
    block.GetSeedTime();
    block.SetSeedTime(0.5);
    block.GetMinTimePercentage();
    block.SetMinTimePercentage(50);
    EXPECT_EQ(block.Registry()->GetKeyHandle(), hKey);
    block.Close();
    EXPECT_EQ(RegCloseKey(hKey), ERROR_INVALID_HANDLE);
}

TEST_F(OSequencer, GivesDefaultsAndStoresNoneOfThem)
{
    MakeKey("Sequencer");
    OSequencerParamsWs block(1);
    EXPECT_EQ(block.GetMinTimePercentage(), 80.0);
    EXPECT_EQ(block.GetSeedTime(), 0.1);
    EXPECT_EQ(Stored("Sequencer", "MinTimePercentage"), std::nullopt);
    EXPECT_EQ(Stored("Sequencer", "SeedTime"), std::nullopt);
}

TEST_F(OSequencer, WritesAtOnceAndReadsBack)
{
    MakeKey("Sequencer");
    OSequencerParamsWs block(1);
    block.SetMinTimePercentage(62.5);
    block.SetSeedTime(0.25);
    EXPECT_EQ(StoredText("Sequencer", "MinTimePercentage"), "62.50");
    EXPECT_EQ(StoredText("Sequencer", "SeedTime"), "0.25");
    EXPECT_EQ(block.GetMinTimePercentage(), 62.5);
    EXPECT_EQ(block.GetSeedTime(), 0.25);
}

TEST_F(OSequencer, ReadsAsZeroWhatTwoDecimalsMadeZero)
{
    MakeKey("Sequencer");
    OSequencerParamsWs block(1);
    block.SetSeedTime(0.004);
    EXPECT_EQ(StoredText("Sequencer", "SeedTime"), "0.00");
    EXPECT_EQ(block.GetSeedTime(), 0.0);
}

TEST_F(OSequencer, GivesDefaultsAndWritesNothingWhenItsKeyIsMissing)
{
    OSequencerParamsWs block(1);
    EXPECT_EQ(block.GetMinTimePercentage(), 80.0);
    EXPECT_EQ(block.GetSeedTime(), 0.1);
    block.SetMinTimePercentage(1);
    block.SetSeedTime(1);
    EXPECT_FALSE(HasKey("Sequencer"));
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(OSequencer, IsLikeOneWithoutAKeyBeforeInit)
{
    MakeKey("Sequencer");
    OSequencerParamsWs block;
    EXPECT_EQ(block.GetRootKeyHandle(), nullptr);
    EXPECT_EQ(block.GetPath(), "");
    EXPECT_EQ(block.GetMinTimePercentage(), 80.0);
    EXPECT_EQ(block.GetSeedTime(), 0.1);
    block.SetSeedTime(1);
    block.SetMinTimePercentage(1);
    EXPECT_EQ(Stored("Sequencer", "SeedTime"), std::nullopt);
}

TEST_F(OSequencer, TakesItsPlaceFromItsArguments)
{
    EXPECT_EQ(OSequencerParams(1).GetPath(), "Sequencer");
    EXPECT_EQ(OSequencerParamsWs(1).GetPath(), "Sequencer");
    OSequencerParamsWs block(1, HKEY_CURRENT_USER, "Other");
    EXPECT_EQ(block.GetPath(), "Other");
    EXPECT_EQ(block.GetRootKeyHandle(), HKEY_CURRENT_USER);
    EXPECT_EQ(block.GetErrorBase(), 27500u);
}

TEST_F(OSequencer, LogsWhatPassesThroughConstructionAndInit)
{
    RecordingSecurity security;
    security.onImpersonate = [] { OBase().Raise(1); };
    const Lines open{"Caught in ORegistry::OpenKey", "Caught in ORegParams::Open", "Caught in OSequencerParams::Init"};
    const auto with = [&](std::initializer_list<std::string> more)
    {
        Lines places = open;
        places.insert(places.end(), more);
        return places;
    };
    EXPECT_RAISES(OSequencerParams(1), 1);
    EXPECT_EQ(log.Places(), with({"Caught in OSequencerParams::OSequencerParams"}));
    EXPECT_RAISES(OSequencerParamsWs(1), 1);
    EXPECT_EQ(log.Places(), with({"Caught in OSequencerParamsWs::Init", "Caught in OSequencerParamsWs::OSequencerParamsWs"}));
}
