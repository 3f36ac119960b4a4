// The installed instrument's parameters.
#include "OModelParams.h"

#include "Raises.h"
#include "RecordingSecurity.h"
#include "RegistryBranch.h"

namespace
{
class OModel : public RegistryBranch
{
protected:
    OModel() { MakeKey("Model"); }

    void ForgetKey() { RegDeleteTreeA(HKEY_LOCAL_MACHINE, Path("Model").c_str()); }

    OModelParams model{1};
};

struct OModelFlag
{
    const char* pMember;
    const char* pValue;
    int (OModelParams::*pIs)();
};
constexpr OModelFlag kFitted[] = {
    {"IsVacuumOptionFitted", "VacuumFitted", &OModelParams::IsVacuumOptionFitted},
    {"IsWaterCooledRf", "WaterCooledRf", &OModelParams::IsWaterCooledRf},
};
} // namespace

TEST_F(OModel, NamesItself)
{
    StoreText("Model", "ModelName", "Cedar 5");
    EXPECT_EQ(model.GetModelName(), "Cedar 5");
}

TEST_F(OModel, StoresADefaultNameWhereNoneIs)
{
    EXPECT_EQ(model.GetModelName(), "DefaultModelName");
    EXPECT_EQ(StoredText("Model", "ModelName"), "DefaultModelName");
    EXPECT_EQ(model.GetModelName(), "DefaultModelName");
}

TEST_F(OModel, HasAnEmptyNameWhenThatIsStored)
{
    Store("Model", "ModelName", REG_SZ, "");
    EXPECT_EQ(model.GetModelName(), "");
}

TEST_F(OModel, StoresAsRadialWhatTheFirstQuestionSuggests)
{
    EXPECT_EQ(model.IsAxial(), 0);
    EXPECT_EQ(StoredNumber("Model", "Radial"), 1u);
    EXPECT_EQ(model.IsRadial(), 1);
    EXPECT_EQ(model.IsAxial(), 0);
}

TEST_F(OModel, StoresAsAxialWhatTheOtherFirstQuestionSuggests)
{
    EXPECT_EQ(model.IsRadial(), 0);
    EXPECT_EQ(StoredNumber("Model", "Radial"), 0u);
    EXPECT_EQ(model.IsAxial(), 1);
    EXPECT_EQ(model.IsRadial(), 0);
}

TEST_F(OModel, IsRadialGivesTheStoredNumberItself)
{
    StoreNumber("Model", "Radial", 2);
    EXPECT_EQ(model.IsRadial(), 2);
    EXPECT_EQ(model.IsAxial(), 0);
    StoreNumber("Model", "Radial", 0xFFFFFFFF);
    EXPECT_EQ(model.IsRadial(), -1);
}

TEST_F(OModel, SaysThatIsFittedWhatIsStoredAsZero)
{
    for (const OModelFlag& flag : kFitted)
    {
        EXPECT_EQ((model.*flag.pIs)(), 1) << flag.pMember;
        EXPECT_EQ(StoredNumber("Model", flag.pValue), 0u) << flag.pMember;
        EXPECT_EQ((model.*flag.pIs)(), 1) << flag.pMember;
        StoreNumber("Model", flag.pValue, 1);
        EXPECT_EQ((model.*flag.pIs)(), 0) << flag.pMember;
        StoreNumber("Model", flag.pValue, 2);
        EXPECT_EQ((model.*flag.pIs)(), 0) << flag.pMember;
    }
}

TEST_F(OModel, RaisesEightForValuesOfAnotherType)
{
    StoreText("Model", "Radial", "1");
    EXPECT_RAISES(model.IsRadial(), 19008);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryDwordValue | Invalid data type: dwType=1"});
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::QueryDwordValue", "Caught in OModelParams::IsRadial"}));
    EXPECT_RAISES(model.IsAxial(), 19008);
    StoreNumber("Model", "ModelName", 1);
    EXPECT_RAISES(model.GetModelName(), 19008);
    EXPECT_EQ(StoredText("Model", "Radial"), "1");
}

TEST_F(OModel, RaisesFourWhenItsKeyIsMissing)
{
    ForgetKey();
    const std::string sNotOpen = "Object is not initialised: mhKey=NULL";
    EXPECT_RAISES(model.GetModelName(), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryStringValue | " + sNotOpen});
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::QueryStringValue", "Caught in OModelParams::GetModelName"}));
    EXPECT_RAISES(model.IsAxial(), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryDwordValue | " + sNotOpen});
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::QueryDwordValue", "Caught in OModelParams::IsAxial"}));
    EXPECT_RAISES(model.IsVacuumOptionFitted(), 19004);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::QueryDwordValue", "Caught in OModelParams::IsVacuumOptionFitted"}));
    EXPECT_RAISES(model.IsWaterCooledRf(), 19004);
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::QueryDwordValue"}); // no frame of its own
    EXPECT_FALSE(HasKey("Model"));
    MakeKey("Model");
    EXPECT_EQ(model.IsRadial(), 0); // usable again
}

TEST_F(OModel, IsClosedBetweenCallsAndOpenAfterAFailure)
{
    class OShown : public OModelParams
    {
    public:
        using OModelParams::OModelParams;
        bool IsOpen() const { return mpRegistry != nullptr; }
    } shown(1);
    shown.IsAxial();
    shown.GetModelName();
    EXPECT_FALSE(shown.IsOpen());
    ForgetKey();
    EXPECT_RAISES(shown.IsAxial(), 19004);
    EXPECT_TRUE(shown.IsOpen());
    shown.Close();
    EXPECT_FALSE(shown.IsOpen());
}

TEST_F(OModel, IsNotInitialisedByItsDefaultArguments)
{
    OModelParams block;
    EXPECT_EQ(block.GetRootKeyHandle(), nullptr);
    EXPECT_EQ(block.GetPath(), "");
    EXPECT_EQ(block.GetErrorBase(), 27500u);
    block.Init(HKEY_LOCAL_MACHINE, "Model");
    EXPECT_EQ(block.IsRadial(), 0);
    EXPECT_EQ(OModelParams(1).GetPath(), "Model");
    EXPECT_EQ(OModelParams(1, HKEY_CURRENT_USER, "Other").GetPath(), "Other");
    EXPECT_EQ(OModelParams(1, HKEY_CURRENT_USER, "Other").GetRootKeyHandle(), HKEY_CURRENT_USER);
}

TEST_F(OModel, HasASecondNameWithTheSameMembers)
{
    StoreText("Model", "ModelName", "Cedar 5");
    OModelParamsEs block;
    EXPECT_EQ(block.GetPath(), "");
    block.Init(HKEY_LOCAL_MACHINE, "Model");
    EXPECT_EQ(block.GetModelName(), "Cedar 5");
    EXPECT_EQ(OModelParamsEs(1).GetModelName(), "Cedar 5");
    EXPECT_EQ(OModelParamsEs(1, HKEY_LOCAL_MACHINE, "Other").GetPath(), "Other");
}
