// The base of the parameter blocks: where a block lives, and its one open key.
#include "ORegParams.h"

#include "Raises.h"
#include "RecordingSecurity.h"
#include "RegistryBranch.h"

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
