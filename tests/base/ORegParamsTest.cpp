// The base of the parameter blocks: where a block lives, and its one open key.
#include "OModelParams.h"
#include "OSequencerParams.h"
#include "OSimParams.h"
#include "OTorchParams.h"

#include "ClosedPage.h"
#include "Raises.h"
#include "RecordingSecurity.h"
#include "RegistryBranch.h"

#include <thread>

namespace
{
// Shows the key that a block has open.
class OOpenBlock : public ORegParams
{
public:
    using ORegParams::ORegParams;
    ORegistry* Registry() const { return mpRegistry; }
};

using RegParams = RegistryBranch;

// Whether the call ends with an access violation. On a thread of its own: what SetupSignal sets goes with it.
template <class Call>
bool FaultsIn(Call call)
{
    bool bFaulted = false;
    std::thread([&]
    {
        SetupSignal();
        try
        {
            call();
        }
        catch (OAccessViolationException* pEx)
        {
            bFaulted = true;
            pEx->Delete();
        }
    }).join();
    return bFaulted;
}

template <class Block>
void Construct(const char* pPath)
{
    Block block(1, HKEY_LOCAL_MACHINE, pPath);
}
} // namespace

TEST(ORegParams, StartsWithoutAPlace)
{
    ORegParams block;
    EXPECT_EQ(block.GetRootKeyHandle(), nullptr);
    EXPECT_EQ(block.GetPath(), "");
    EXPECT_EQ(block.GetName(), "");
    EXPECT_EQ(block.GetErrorBase(), 27500u);
}

TEST(ORegParams, KnowsItsPlaceAfterInit)
{
    ORegParams block;
    block.Init(HKEY_CURRENT_USER, "Model");
    EXPECT_EQ(block.GetRootKeyHandle(), HKEY_CURRENT_USER);
    EXPECT_EQ(block.GetPath(), "Model");
    ORegParams other(HKEY_LOCAL_MACHINE, "Ignition");
    EXPECT_EQ(other.GetRootKeyHandle(), HKEY_LOCAL_MACHINE);
    EXPECT_EQ(other.GetPath(), "Ignition");
}

TEST(ORegParams, JoinsPathAndNameWhenThereIsAName)
{
    ORegParams block(HKEY_LOCAL_MACHINE, "Model");
    EXPECT_EQ(block.GetFullPathNameA(), "Model");
    block.SetName("Current");
    EXPECT_EQ(block.GetName(), "Current");
    EXPECT_EQ(block.GetFullPathNameA(), "Model\\Current");
    block.SetName("");
    EXPECT_EQ(block.GetFullPathNameA(), "Model");
    block.SetName("Current");
    block.SetName(nullptr);
    EXPECT_EQ(block.GetName(), "");
}

TEST_F(RegParams, OpenASubkeyBelowTheBasePath)
{
    StoreText("Ignition\\Current", "Text", "lamp");
    OOpenBlock block(HKEY_LOCAL_MACHINE, "Ignition");
    EXPECT_EQ(block.Registry(), nullptr);
    block.Open("Current");
    ASSERT_NE(block.Registry(), nullptr);
    EXPECT_EQ(block.Registry()->GetPath(), "Ignition\\Current");
    EXPECT_EQ(block.GetName(), "Current");
    CString sText;
    EXPECT_EQ(block.Registry()->ReadString("Text", sText, nullptr), "lamp");
}

TEST_F(RegParams, OpenTheBlocksOwnKeyForANullName)
{
    MakeKey("Sequencer");
    OOpenBlock block(HKEY_LOCAL_MACHINE, "Sequencer");
    block.Open("Nothing");
    block.Open(nullptr);
    EXPECT_EQ(block.Registry()->GetPath(), "Sequencer");
    EXPECT_EQ(block.GetName(), "");
}

TEST_F(RegParams, CloseTheKeyTheyHaveOpen)
{
    MakeKey("Model");
    OOpenBlock block(HKEY_LOCAL_MACHINE, "Model");
    block.Open(nullptr);
    HKEY hKey = block.Registry()->GetKeyHandle();
    block.Close();
    EXPECT_EQ(block.Registry(), nullptr);
    EXPECT_EQ(RegCloseKey(hKey), ERROR_INVALID_HANDLE);
    block.Close();

    block.Open(nullptr);
    hKey = block.Registry()->GetKeyHandle();
    block.Open("Missing");
    EXPECT_EQ(RegCloseKey(hKey), ERROR_INVALID_HANDLE);

    {
        OOpenBlock inner(HKEY_LOCAL_MACHINE, "Model");
        inner.Open(nullptr);
        hKey = inner.Registry()->GetKeyHandle();
    }
    EXPECT_EQ(RegCloseKey(hKey), ERROR_INVALID_HANDLE);
}

TEST_F(RegParams, OpenAMissingKeySilentlyAndMakeNone)
{
    OOpenBlock block(HKEY_LOCAL_MACHINE, "Model");
    block.Open("Current");
    ASSERT_NE(block.Registry(), nullptr);
    EXPECT_EQ(block.Registry()->ReadInteger("Number", 7), 7);
    block.Registry()->WriteInteger("Number", 8);
    block.Close();
    EXPECT_FALSE(HasKey("Model"));
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(RegParams, OpenNothingWithoutARoot)
{
    MakeKey("Model");
    OOpenBlock block;
    block.Open("Model");
    EXPECT_RAISES(block.Registry()->GetRootKeyHandle(), 19004);
    EXPECT_RAISES(block.Registry()->GetKeyHandle(), 19004);
    block.Close();
}

TEST_F(RegParams, CopyEveryField)
{
    OOpenBlock block(HKEY_CURRENT_USER, "Model");
    block.SetName("Current");
    const auto check = [](OOpenBlock copy)
    {
        EXPECT_EQ(copy.GetRootKeyHandle(), HKEY_CURRENT_USER);
        EXPECT_EQ(copy.GetFullPathNameA(), "Model\\Current");
        EXPECT_EQ(copy.GetErrorBase(), 27500u);
        EXPECT_EQ(copy.Registry(), nullptr);
    };
    check(block);
    OOpenBlock assigned;
    assigned = block;
    check(assigned);
}

TEST_F(RegParams, LogWhatPassesThroughOpen)
{
    RecordingSecurity security;
    security.onImpersonate = [] { OBase().Raise(1); };
    OOpenBlock block(HKEY_LOCAL_MACHINE, "Model");
    EXPECT_RAISES(block.Open(nullptr), 1);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::OpenKey", "Caught in ORegParams::Open"}));
    block.Close();
    EXPECT_EQ(block.Registry(), nullptr);
}

TEST_F(RegParams, LogWhatPassesThroughTheirConstruction)
{
    const struct
    {
        void (*pConstruct)(const char*);
        Lines places; // behind that of the base's Init
    } rows[] = {
        {Construct<OTorchParams>, {"OTorchParams::Init", "OTorchParams::OTorchParams"}},
        {Construct<OModelParams>, {"OModelParams::Init", "OModelParams::OModelParams"}},
        // Logs have always named this class so.
        {Construct<OModelParamsEs>, {"OModelParams::Init", "OModelParamsWs::Init", "OModelParamsWs::OModelParamsWs"}},
        {Construct<OSimParams>, {"OSimParams::Init", "OSimParams::OSimParams"}},
        {Construct<OSimParamsWs>, {"OSimParams::Init", "OSimParamsWs::Init", "OSimParamsWs::OSimParamsWs"}},
        {Construct<OSequencerParams>, {"OSequencerParams::Init", "OSequencerParams::OSequencerParams"}},
        {[](const char* pPath) { ORegParams block(HKEY_LOCAL_MACHINE, pPath); }, {"ORegParams::ORegParams"}},
    };
    const OClosedPage page; // a path that cannot be read
    for (const auto& row : rows)
    {
        EXPECT_TRUE(FaultsIn([&] { row.pConstruct(page.Get()); }));
        Lines expected{"Caught in ORegParams::Init"};
        for (const std::string& sPlace : row.places) expected.push_back("Caught in " + sPlace);
        EXPECT_EQ(log.Places(), expected);
    }
}

TEST_F(RegParams, LogWhatPassesThroughSetName)
{
    const OClosedPage page;
    ORegParams block(HKEY_LOCAL_MACHINE, "Model");
    EXPECT_TRUE(FaultsIn([&] { block.SetName(page.Get()); }));
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegParams::SetName"});
    EXPECT_TRUE(FaultsIn([&] { block.Open(page.Get()); }));
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegParams::SetName", "Caught in ORegParams::Open"}));
    EXPECT_EQ(block.GetName(), "");
}
