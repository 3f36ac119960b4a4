// What is installed, the security switches, and the flat registry functions.
#include "RegFunctions.h"

#include "InstalledFamily.h"
#include "Raises.h"
#include "RecordingSecurity.h"
#include "RegistryBranch.h"

#include <cstring>

namespace
{
using InstallQueries = RegistryBranch;
using RegFunctions = RegistryBranch;

// What makes every registry open fail with an exception.
class RefusingSecurity
{
public:
    RefusingSecurity()
    {
        mSecurity.onImpersonate = [] { OBase().Raise(1); };
    }

private:
    RecordingSecurity mSecurity;
};

// The three answers, in one word.
std::string FamilyAnswers()
{
    ORegistry reg;
    const std::string sMembers = std::to_string(reg.IsInstTypeAlder()) + std::to_string(reg.IsInstTypeBirch()) +
                                 std::to_string(reg.IsInstTypeCedar());
    const std::string sFlat = std::to_string(RegIsInstTypeAlder()) + std::to_string(RegIsInstTypeBirch()) +
                              std::to_string(RegIsInstTypeCedar());
    return sMembers == sFlat ? sMembers : sMembers + " but " + sFlat;
}

// The base path that the library chooses when none is set, seen by what it prefixes.
std::string ChosenBasePath()
{
    ORegistry::SetBasePath("");
    ORegistry::InitRegistryWithCedarBasePath();
    std::string sChosen = "none of them";
    for (const std::string sPath : {"", "Software\\Tarvek\\Lum\\ES\\Cedar\\", "Software\\Tarvek\\Lum\\ES\\Birch\\",
                                    "Software\\Tarvek\\Lum\\ES\\Alder\\"})
    {
        const std::string sProbe = sPath + "Software\\LumBaseTests\\Probe";
        HKEY hKey = nullptr;
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, sProbe.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &hKey, nullptr);
        RegCloseKey(hKey);
        if (RegKeyExist("Software\\LumBaseTests\\Probe")) sChosen = sPath;
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, (sPath + "Software\\LumBaseTests\\Probe").c_str());
        if (!sPath.empty()) RegDeleteTreeA(HKEY_LOCAL_MACHINE, (sPath + "Software").c_str());
    }
    ORegistry::SetBasePath("");
    return sChosen;
}
} // namespace

// What is installed ----------------------------------------------------------------------------------------------------------

TEST_F(InstallQueries, KnowTheFamilyInAnyCase)
{
    InstalledFamily family;
    const struct { const char* pName; const char* pAnswers; } rows[] = {
        {"Alder", "100"}, {"Birch", "010"}, {"Cedar", "001"}, {"cedar", "001"}, {"BIRCH", "010"}, {"aLDER", "100"},
        {"Cedar ", "000"}, {"Ceda", "000"}, {"", "000"}, {"Larch", "000"},
    };
    for (const auto& row : rows)
    {
        family.Set(row.pName);
        EXPECT_EQ(FamilyAnswers(), row.pAnswers) << row.pName;
    }
}

TEST_F(InstallQueries, KnowNoFamilyWithoutTheKeyOrTheValueOrText)
{
    InstalledFamily family;
    EXPECT_EQ(FamilyAnswers(), "000");
    family.SetNothing();
    EXPECT_EQ(FamilyAnswers(), "000");
    family.SetValue(REG_BINARY, "Cedar", 6);
    EXPECT_EQ(FamilyAnswers(), "000");
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(InstallQueries, KeepTenBytesOfTheName)
{
    InstalledFamily family;
    for (const char* pName : {"Cedar5678", "Cedar56789", "Cedar567890", "Cedar5678901234567890123456789"})
    {
        family.Set(pName);
        EXPECT_EQ(FamilyAnswers(), "000") << pName;
    }
}

TEST_F(InstallQueries, LeaveTheObjectThatIsAskedAlone)
{
    InstalledFamily family;
    family.Set("Cedar");
    MakeKey("Key");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    HKEY hKey = reg.GetKeyHandle();
    EXPECT_EQ(reg.IsInstTypeCedar(), 1);
    EXPECT_EQ(reg.GetKeyHandle(), hKey);
    EXPECT_EQ(reg.GetPath(), "Key");
}

TEST_F(InstallQueries, ChooseTheBranchOfTheFamily)
{
    InstalledFamily family;
    const struct { const char* pName; const char* pBasePath; } rows[] = {
        {"cedar", "Software\\Tarvek\\Lum\\ES\\Cedar\\"},
        {"Birch", "Software\\Tarvek\\Lum\\ES\\Birch\\"},
        {"Alder", "Software\\Tarvek\\Lum\\ES\\Alder\\"},
        {"Larch", ""},
    };
    for (const auto& row : rows)
    {
        family.Set(row.pName);
        EXPECT_EQ(ChosenBasePath(), row.pBasePath) << row.pName;
    }
    family.SetNothing();
    EXPECT_EQ(ChosenBasePath(), "");
}

TEST_F(InstallQueries, OpenFromTheRootWhenNothingIsInstalled)
{
    InstalledFamily family;
    MakeKey("Key");
    const std::string sPath = Path("Key");
    EXPECT_EQ(ChosenBasePath(), "");
    ORegistry reg;
    EXPECT_EQ(reg.OpenKey(sPath.c_str(), ORegistry::OPEN_ONLY), 1);
}

TEST_F(InstallQueries, KeepABasePathThatIsSetAlready)
{
    InstalledFamily family;
    family.Set("Cedar");
    MakeKey("OnlyHere");
    ORegistry::InitRegistryWithCedarBasePath();
    EXPECT_EQ(RegKeyExist("OnlyHere"), 1);
}

// The security switches ------------------------------------------------------------------------------------------------------

TEST_F(InstallQueries, TellTheSecuritySwitchesApart)
{
    const struct { const char* pEnabled; int iCfr, iLogin; } rows[] = {
        {"2", 1, 0}, {"1", 0, 1}, {"0", 0, 0}, {"3", 0, 0}, {"-1", 0, 0}, {"yes", 0, 0}, {"", 0, 0}, {"2 of them", 1, 0},
    };
    for (const auto& row : rows)
    {
        StoreText("GALP", "Enabled", row.pEnabled);
        ORegistry reg;
        EXPECT_EQ(reg.IsCFRSecurityEnabled(), row.iCfr) << row.pEnabled;
        EXPECT_EQ(reg.IsLoginSecurityEnabled(), row.iLogin) << row.pEnabled;
    }
}

TEST_F(InstallQueries, HaveBothSwitchesOffWhenTheNumberIsMissingOrIsNoText)
{
    ORegistry reg;
    EXPECT_EQ(reg.IsCFRSecurityEnabled(), 0);
    EXPECT_EQ(reg.IsLoginSecurityEnabled(), 0);
    MakeKey("GALP");
    EXPECT_EQ(reg.IsCFRSecurityEnabled(), 0);
    EXPECT_EQ(reg.IsLoginSecurityEnabled(), 0);
    for (const DWORD dwEnabled : {1, 2})
    {
        StoreNumber("GALP", "Enabled", dwEnabled);
        EXPECT_EQ(reg.IsCFRSecurityEnabled(), 0);
        EXPECT_EQ(reg.IsLoginSecurityEnabled(), 0);
    }
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(InstallQueries, LeaveTheObjectWithTheSwitchesKeyOpen)
{
    MakeKey("Key");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    reg.IsCFRSecurityEnabled();
    EXPECT_RAISES(reg.GetKeyHandle(), 19004); // there is no such key yet
    MakeKey("GALP");
    reg.IsCFRSecurityEnabled();
    EXPECT_EQ(reg.GetPath(), "GALP");
    reg.OpenKey("Key", ORegistry::OPEN_ONLY);
    reg.IsLoginSecurityEnabled();
    EXPECT_EQ(reg.GetPath(), "GALP");
    reg.SetRoot(HKEY_CURRENT_USER);
    reg.IsLoginSecurityEnabled();
    EXPECT_RAISES(reg.GetKeyHandle(), 19004); // under its own root
}

TEST_F(InstallQueries, LogWhatPassesThrough)
{
    const RefusingSecurity refusing;
    ORegistry reg;
    EXPECT_RAISES(reg.IsInstTypeAlder(), 1);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::OpenKeyEx", "Caught in ORegistry::IsInstTypeAlder"}));
    EXPECT_RAISES(reg.IsInstTypeBirch(), 1);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::OpenKeyEx", "Caught in ORegistry::IsInstTypeBirch"}));
    EXPECT_RAISES(reg.IsInstTypeCedar(), 1);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::OpenKeyEx", "Caught in ORegistry::IsInstTypeCedar"}));
    EXPECT_RAISES(reg.IsCFRSecurityEnabled(), 1);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::OpenKey", "Caught in ORegistry::IsCFRSecurityEnabled"}));
    EXPECT_RAISES(reg.IsLoginSecurityEnabled(), 1);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::OpenKey", "Caught in ORegistry::IsLoginSecurityEnabled"}));
    EXPECT_RAISES(ORegistry(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY), 1);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::OpenKey", "Caught in ORegistry::ORegistry"}));
}

// The flat functions ---------------------------------------------------------------------------------------------------------

TEST_F(RegFunctions, WriteAndReadTextOfAKeyThatIsThere)
{
    EXPECT_EQ(RegWriteString("Key", "Text", "lamp"), 0);
    EXPECT_FALSE(HasKey("Key"));
    MakeKey("Key");
    EXPECT_EQ(RegWriteString("Key", "Text", "lamp"), 1);
    EXPECT_EQ(Stored("Key", "Text"), (StoredValue{REG_SZ, std::string("lamp\0", 5)}));

    char acText[6] = "#####";
    EXPECT_EQ(RegReadString("Key", "Text", acText, 3), 1);
    EXPECT_EQ(std::string(acText, 5), "lam##");
    EXPECT_EQ(RegReadString("Key", "Text", acText, 6), 1);
    EXPECT_STREQ(acText, "lamp");
}

TEST_F(RegFunctions, ReadAnEmptyTextForAMissingValueAndNothingForAMissingKey)
{
    MakeKey("Key");
    char acText[4] = "###";
    EXPECT_EQ(RegReadString("Nothing", "Text", acText, 4), 0);
    EXPECT_STREQ(acText, "###");
    EXPECT_EQ(RegReadString("Key", "Text", acText, 4), 1);
    EXPECT_EQ(std::string(acText, 4), std::string(4, '\0'));
}

TEST_F(RegFunctions, MakeAKeyToWriteTo)
{
    EXPECT_EQ(RegCreateAndWriteString("New\\Key", "Text", "lamp"), 1);
    EXPECT_EQ(StoredText("New\\Key", "Text"), "lamp");
    EXPECT_EQ(RegCreateAndWriteString("New\\Key", "Text", "lamps"), 1);
    EXPECT_EQ(StoredText("New\\Key", "Text"), "lamps");
    EXPECT_EQ(RegCreateAndWriteDWord("Newer", "Number", 5), 1);
    EXPECT_EQ(StoredNumber("Newer", "Number"), 5u);
}

TEST_F(RegFunctions, WriteAndReadNumbers)
{
    EXPECT_EQ(RegWriteDWord("Key", "Number", 5), 0);
    EXPECT_FALSE(HasKey("Key"));
    MakeKey("Key");
    EXPECT_EQ(RegWriteDWord("Key", "Number", 0xFFFFFFFE), 1);
    EXPECT_EQ(StoredNumber("Key", "Number"), 0xFFFFFFFEu);
    ULONG ulNumber = 0;
    EXPECT_EQ(RegReadDWord("Key", "Number", &ulNumber), 1);
    EXPECT_EQ(ulNumber, 0xFFFFFFFEu);
    EXPECT_EQ(RegReadDWord("Key", "Missing", &ulNumber), 0);
    EXPECT_EQ(RegReadDWord("Nothing", "Number", &ulNumber), 0);
    EXPECT_EQ(ulNumber, 0xFFFFFFFEu);
}

TEST_F(RegFunctions, WriteNumbersBelowThePathInFrontOfAName)
{
    MakeKey("Key");
    EXPECT_EQ(RegWriteDWord("Key", "Sub\\Number", 5), 1);
    EXPECT_EQ(StoredNumber("Key\\Sub", "Number"), 5u);
    EXPECT_EQ(RegCreateAndWriteDWord("Key", "Other\\Number", 6), 1);
    EXPECT_EQ(StoredNumber("Key\\Other", "Number"), 6u);
}

TEST_F(RegFunctions, ReadUpToFourBytesOfAnyTypeAsANumber)
{
    Store("Key", "Text", REG_SZ, std::string("abc\0", 4));
    Store("Key", "Short", REG_BINARY, "ab");
    Store("Key", "Long", REG_SZ, std::string("abcd\0", 5));
    ULONG ulNumber = 0;
    EXPECT_EQ(RegReadDWord("Key", "Text", &ulNumber), 1);
    EXPECT_EQ(std::memcmp(&ulNumber, "abc", 4), 0);
    ulNumber = 0xFFFFFFFF;
    EXPECT_EQ(RegReadDWord("Key", "Short", &ulNumber), 1);
    EXPECT_EQ(std::memcmp(&ulNumber, "ab\xFF\xFF", 4), 0);
    EXPECT_EQ(RegReadDWord("Key", "Long", &ulNumber), 0);
}

TEST_F(RegFunctions, AnswerWhetherKeysAndValuesExist)
{
    StoreNumber("Key", "Number", 5);
    EXPECT_EQ(RegKeyExist("Key"), 1);
    EXPECT_EQ(RegKeyExist("Nothing"), 0);
    EXPECT_EQ(RegValueExist("Key", "Number"), 1);
    EXPECT_EQ(RegValueExist("Key", "Missing"), 0);
    EXPECT_EQ(RegValueExist("Nothing", "Number"), 0);
    EXPECT_EQ(RegKeyWithoutBaseExist(Path("Key").c_str()), 1);
    EXPECT_EQ(RegKeyWithoutBaseExist("Key"), 0);

    InstalledFamily family;
    EXPECT_EQ(RegKeyWithoutBaseExist("Software\\Tarvek\\Lum\\General"), 0);
    family.Set("Cedar");
    EXPECT_EQ(RegKeyWithoutBaseExist("Software\\Tarvek\\Lum\\General"), 1);
}

TEST_F(RegFunctions, MakeKeys)
{
    EXPECT_EQ(RegKeyCreate("New\\Key"), 1);
    EXPECT_TRUE(HasKey("New\\Key"));
    EXPECT_EQ(RegKeyCreate("New\\Key"), 1);
}

TEST_F(RegFunctions, DeleteNoKeyEver)
{
    MakeKey("Key");
    EXPECT_EQ(RegKeyDelete("Key"), 0);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | DeleteKey | Object is not initialised: mhKey=NULL"});
    EXPECT_TRUE(HasKey("Key"));
    EXPECT_EQ(RegKeyDelete("Nothing"), 0);
}

TEST_F(RegFunctions, GiveHandlesThatAreClosedAlready)
{
    MakeKey("Key");
    HKEY hKey = RegKeyGetHandle("Key");
    EXPECT_NE(hKey, nullptr);
    EXPECT_EQ(RegCloseKey(hKey), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegKeyGetHandle("Nothing"), nullptr);
}

TEST_F(RegFunctions, AnswerThatTheKeyWasOpenEvenWhenTheWriteFails)
{
    MakeKey("Key");
    EXPECT_EQ(RegWriteDWord("Key", nullptr, 5), 1);
    EXPECT_EQ(RegCreateAndWriteDWord("Key", nullptr, 5), 1);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::GetPathName", "Caught in ORegistry::SetDwordValue",
                                   "Caught in ORegistry::GetPathName", "Caught in ORegistry::SetDwordValue"}));
}

TEST_F(RegFunctions, LetNoExceptionOut)
{
    StoreNumber("Key", "Number", 5);
    const RefusingSecurity refusing;
    char acText[4] = "###";
    ULONG ulNumber = 7;
    EXPECT_EQ(RegWriteString("Key", "Text", "lamp"), 0);
    EXPECT_EQ(RegCreateAndWriteString("Key", "Text", "lamp"), 0);
    EXPECT_EQ(RegReadString("Key", "Text", acText, 4), 0);
    EXPECT_EQ(RegWriteDWord("Key", "Number", 6), 0);
    EXPECT_EQ(RegCreateAndWriteDWord("Key", "Number", 6), 0);
    EXPECT_EQ(RegReadDWord("Key", "Number", &ulNumber), 0);
    EXPECT_EQ(RegKeyExist("Key"), 0);
    EXPECT_EQ(RegKeyWithoutBaseExist("Key"), 0);
    EXPECT_EQ(RegValueExist("Key", "Number"), 0);
    EXPECT_EQ(RegKeyCreate("Key"), 0);
    EXPECT_EQ(RegKeyDelete("Key"), 0);
    EXPECT_EQ(RegKeyGetHandle("Key"), nullptr);
    EXPECT_EQ(RegIsInstTypeAlder(), 0);
    EXPECT_EQ(RegIsInstTypeBirch(), 0);
    EXPECT_EQ(RegIsInstTypeCedar(), 0);
    EXPECT_STREQ(acText, "###");
    EXPECT_EQ(ulNumber, 7u);
}
