// Registry keys: opening, closing, cloning, plain reads and writes, accessors.
#include "RegistryBranch.h"

#include "Raises.h"

#include <clocale>
#include <cmath>
#include <cstring>

namespace
{
using ORegistryKey = RegistryBranch;
using ORegistryPlain = RegistryBranch;

const std::string ksNotOpen = "Object is not initialised: mhKey=NULL";

// A second object with the first one's handle, which the first has closed since.
ORegistry WithClosedHandle(ORegistry& open)
{
    ORegistry copy(open);
    open.CloseKey();
    return copy;
}

constexpr ULONG kulSetOnly = KEY_SET_VALUE;
} // namespace

// Opening and closing --------------------------------------------------------------------------------------------------------

TEST_F(ORegistryKey, StartsClosedUnderTheMachinesRoot)
{
    ORegistry reg;
    EXPECT_EQ(reg.GetRootKeyHandle(), HKEY_LOCAL_MACHINE);
    EXPECT_EQ(reg.GetErrorBase(), 19000u);
    EXPECT_RAISES(reg.GetKeyHandle(), 19004);
    reg.Log("here");
    EXPECT_EQ(log.Others(), Lines{"Utilities | ORegistry | Item | here"});
}

TEST_F(ORegistryKey, OpensBelowTheBasePath)
{
    StoreText("Model", "ModelName", "Cedar 5");
    ORegistry reg;
    EXPECT_EQ(reg.OpenKey("Model", ORegistry::OPEN_ONLY), 1);
    EXPECT_EQ(reg.GetPath(), "Model");
    CString sName;
    EXPECT_EQ(reg.ReadString("ModelName", sName, nullptr), "Cedar 5");
}

TEST_F(ORegistryKey, CollapsesTheDoubledBackslashOfALeadingOne)
{
    MakeKey("Model");
    ORegistry reg;
    EXPECT_EQ(reg.OpenKey("\\Model", ORegistry::OPEN_ONLY), 1);
    EXPECT_EQ(reg.GetPath(), "\\Model");

    StoreText("Ignition\\Current", "FilamentWarmUpTime", "30.00");
    EXPECT_EQ(reg.OpenKey("Ignition\\\\Current", ORegistry::OPEN_ONLY), 1);
    EXPECT_EQ(reg.ReadDouble("FilamentWarmUpTime", 0), 30.0);
}

TEST_F(ORegistryKey, AnswersZeroForAMissingKeyAndRaisesNothing)
{
    ORegistry reg;
    EXPECT_EQ(reg.OpenKey("Model", ORegistry::OPEN_ONLY), 0);
    EXPECT_FALSE(HasKey("Model"));
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_RAISES(reg.GetKeyHandle(), 19004);
}

TEST_F(ORegistryKey, MakesAMissingKeyAndKeepsThePathItHadBefore)
{
    MakeKey("Model");
    ORegistry reg;
    EXPECT_EQ(reg.OpenKey("Model", ORegistry::OPEN_OR_CREATE), 1);
    EXPECT_EQ(reg.OpenKey("Simulator", ORegistry::OPEN_OR_CREATE), 1);
    EXPECT_TRUE(HasKey("Simulator"));
    EXPECT_EQ(reg.GetPath(), "Model");

    reg.WritePChar("Where", "here");
    EXPECT_EQ(StoredText("Simulator", "Where"), "here");
}

TEST_F(ORegistryKey, OpensAPathAsItIsWithOpenKeyEx)
{
    StoreText("Model", "ModelName", "Cedar 5");
    const std::string sPath = Path("Model");
    ORegistry reg;
    EXPECT_EQ(reg.OpenKeyEx("Model", ORegistry::OPEN_ONLY), 0);
    EXPECT_EQ(reg.OpenKeyEx(sPath.c_str(), ORegistry::OPEN_ONLY), 1);
    EXPECT_EQ(reg.GetPath(), sPath.c_str());

    EXPECT_EQ(reg.OpenKeyEx(Path("Made").c_str(), ORegistry::OPEN_OR_CREATE), 1);
    EXPECT_TRUE(HasKey("Made"));
    EXPECT_EQ(reg.GetPath(), sPath.c_str());
}

TEST_F(ORegistryKey, OpensOnConstruction)
{
    MakeKey("Model");
    ORegistry there(HKEY_LOCAL_MACHINE, "Model", ORegistry::OPEN_ONLY);
    EXPECT_EQ(there.GetPath(), "Model");
    ORegistry missing(HKEY_LOCAL_MACHINE, "Nothing", ORegistry::OPEN_ONLY);
    EXPECT_RAISES(missing.GetKeyHandle(), 19004);
    ORegistry other(HKEY_CURRENT_USER, "Model", ORegistry::OPEN_ONLY);
    EXPECT_EQ(other.GetRootKeyHandle(), HKEY_CURRENT_USER);
    EXPECT_RAISES(other.GetKeyHandle(), 19004);
}

TEST_F(ORegistryKey, ClosesTheOldKeyWhenItOpensAnother)
{
    MakeKey("One");
    MakeKey("Two");
    ORegistry reg;
    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    HKEY hOne = reg.GetKeyHandle();
    const ORegistry keepsNothing(reg);
    EXPECT_EQ(RegQueryInfoKeyA(hOne, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), ERROR_SUCCESS);
    reg.CloseKey();
    EXPECT_EQ(RegQueryInfoKeyA(hOne, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), ERROR_INVALID_HANDLE);

    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    hOne = reg.GetKeyHandle();
    EXPECT_EQ(reg.OpenKey("Nothing", ORegistry::OPEN_ONLY), 0);
    EXPECT_EQ(RegQueryInfoKeyA(hOne, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), ERROR_INVALID_HANDLE);
}

TEST_F(ORegistryKey, OpenKeyExLeavesTheOldHandleOpen)
{
    MakeKey("One");
    MakeKey("Two");
    ORegistry reg;
    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    HKEY hOne = reg.GetKeyHandle();
    reg.OpenKeyEx(Path("Two").c_str(), ORegistry::OPEN_ONLY);
    EXPECT_NE(reg.GetKeyHandle(), hOne);
    EXPECT_EQ(RegCloseKey(hOne), ERROR_SUCCESS);
}

TEST_F(ORegistryKey, HasNoKeyOpenAfterAnOpenThatFailed)
{
    MakeKey("One");
    ORegistry reg(HKEY_LOCAL_MACHINE, "One", ORegistry::OPEN_ONLY);
    HKEY hOne = reg.GetKeyHandle();
    EXPECT_EQ(reg.OpenKeyEx("Nothing", ORegistry::OPEN_ONLY), 0);
    EXPECT_RAISES(reg.GetKeyHandle(), 19004);
    EXPECT_EQ(RegCloseKey(hOne), ERROR_SUCCESS); // nobody else has

    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    ORegistry stale = WithClosedHandle(reg);
    EXPECT_EQ(stale.OpenKey("Nothing", ORegistry::OPEN_ONLY), 0);
    EXPECT_RAISES(stale.GetKeyHandle(), 19004);
}

TEST_F(ORegistryKey, GoesOnWhenTheOldHandleCannotBeClosed)
{
    MakeKey("One");
    MakeKey("Two");
    ORegistry reg;
    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    ORegistry stale = WithClosedHandle(reg);
    EXPECT_EQ(stale.OpenKey("Two", ORegistry::OPEN_ONLY), 1);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | OpenKey | Couldn't Close Old Handle"});
    EXPECT_EQ(stale.GetPath(), "Two");
}

TEST_F(ORegistryKey, RaisesThreeWhenItsHandleCannotBeClosed)
{
    MakeKey("One");
    ORegistry reg;
    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    ORegistry stale = WithClosedHandle(reg);
    EXPECT_RAISES(stale.CloseKey(), 19003);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | CloseKey | RegCloseKey failed: lRetval=6"});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::CloseKey"});
}

TEST_F(ORegistryKey, IsClosedAfterCloseKeySetRootAndDestruction)
{
    MakeKey("One");
    ORegistry reg;
    EXPECT_NO_THROW(reg.CloseKey());
    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    reg.CloseKey();
    EXPECT_RAISES(reg.GetKeyHandle(), 19004);

    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    reg.SetRoot(HKEY_CURRENT_USER);
    EXPECT_RAISES(reg.GetKeyHandle(), 19004);
    EXPECT_EQ(reg.GetRootKeyHandle(), HKEY_CURRENT_USER);

    HKEY hOne = nullptr;
    {
        ORegistry inner(HKEY_LOCAL_MACHINE, "One", ORegistry::OPEN_ONLY);
        hOne = inner.GetKeyHandle();
    }
    EXPECT_EQ(RegCloseKey(hOne), ERROR_INVALID_HANDLE);
}

TEST_F(ORegistryKey, SetsGroupAndErrorBaseAnewWhenItCloses)
{
    ORegistry reg;
    reg.SetErrorBase(1);
    reg.SetGroup("Mine");
    reg.CloseKey();
    EXPECT_EQ(reg.GetErrorBase(), 19000u);
    reg.Log("here");
    EXPECT_EQ(log.Others(), Lines{"Utilities | ORegistry | Item | here"});
}

TEST_F(ORegistryKey, AsksForTheAccessItWasGiven)
{
    StoreText("One", "Text", "old");
    ORegistry reg;
    reg.InitAccess(KEY_READ);
    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    reg.WritePChar("Text", "new");
    EXPECT_EQ(StoredText("One", "Text"), "old");

    reg.InitAccess(kulSetOnly);
    CString sText = "untouched";
    EXPECT_EQ(reg.ReadString("Text", sText, nullptr), "old"); // the open key keeps what it has
    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    reg.WritePChar("Text", "new");
    EXPECT_EQ(reg.ReadString("Text", sText, "default"), "default");
    EXPECT_EQ(StoredText("One", "Text"), "new");
}

TEST_F(ORegistryKey, CopiesShareTheHandle)
{
    MakeKey("One");
    ORegistry reg;
    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    ORegistry copy(reg);
    ORegistry assigned;
    assigned = reg;
    EXPECT_EQ(copy.GetKeyHandle(), reg.GetKeyHandle());
    EXPECT_EQ(assigned.GetKeyHandle(), reg.GetKeyHandle());
    EXPECT_EQ(copy.GetPath(), "One");
}

// Cloning --------------------------------------------------------------------------------------------------------------------

TEST_F(ORegistryKey, ClonesItsKeyOrOneBelow)
{
    MakeKey("One\\Two");
    ORegistry reg(HKEY_LOCAL_MACHINE, "One", ORegistry::OPEN_ONLY);
    ORegistry target;
    reg.Clone(target, nullptr, FALSE);
    EXPECT_EQ(target.GetPath(), "One");
    EXPECT_NE(target.GetKeyHandle(), reg.GetKeyHandle());
    reg.Clone(target, "Two", FALSE);
    EXPECT_EQ(target.GetPath(), "One\\Two");

    reg.Clone(target, "Three", FALSE);
    EXPECT_RAISES(target.GetKeyHandle(), 19004);
    EXPECT_FALSE(HasKey("One\\Three"));
    reg.Clone(target, "Three", TRUE);
    EXPECT_TRUE(HasKey("One\\Three"));
    EXPECT_NE(target.GetKeyHandle(), nullptr);
}

TEST_F(ORegistryKey, ClonesUnderItsOwnRootWithTheTargetsAccess)
{
    StoreText("One", "Text", "old");
    ORegistry reg(HKEY_LOCAL_MACHINE, "One", ORegistry::OPEN_ONLY);
    ORegistry target;
    target.SetRoot(HKEY_CURRENT_USER);
    target.InitAccess(KEY_READ);
    reg.Clone(target, nullptr, TRUE);
    EXPECT_EQ(target.GetRootKeyHandle(), HKEY_LOCAL_MACHINE);
    target.WritePChar("Text", "new");
    EXPECT_EQ(StoredText("One", "Text"), "old");
}

TEST_F(ORegistryKey, ClonesWhatWasOpenedWithoutTheBasePathToAnotherKey)
{
    MakeKey("One");
    ORegistry reg;
    reg.OpenKeyEx(Path("One").c_str(), ORegistry::OPEN_ONLY);
    reg.SetDwordValue("Sub\\Value", 5);
    EXPECT_FALSE(HasKey("One\\Sub"));
    EXPECT_EQ(StoredNumber(Path("One\\Sub"), "Value"), 5u); // the base path twice
}

TEST_F(ORegistryKey, ClonesWhatItHadToMakeToThePathOpenedBefore)
{
    MakeKey("One");
    ORegistry reg;
    reg.OpenKey("One", ORegistry::OPEN_ONLY);
    reg.OpenKey("Two", ORegistry::OPEN_OR_CREATE);
    reg.SetDwordValue("Sub\\Value", 5);
    EXPECT_EQ(StoredNumber("One\\Sub", "Value"), 5u);
    EXPECT_FALSE(HasKey("Two\\Sub"));
}

TEST_F(ORegistryKey, IsNotClonedWhileClosed)
{
    ORegistry reg;
    ORegistry target;
    EXPECT_RAISES(reg.Clone(target, nullptr, TRUE), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | Clone | " + ksNotOpen});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::Clone"});
}

// Plain reads ----------------------------------------------------------------------------------------------------------------

TEST_F(ORegistryPlain, ReadsText)
{
    StoreText("Key", "Text", "lamp");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    CString sText;
    CString& sSame = reg.ReadString("Text", sText, "default");
    EXPECT_EQ(&sSame, &sText);
    EXPECT_EQ(sText, "lamp");
    EXPECT_EQ(reg.ReadString("Missing", sText, "default"), "default");
    sText = "untouched";
    EXPECT_EQ(reg.ReadString("Missing", sText, nullptr), "untouched");
}

TEST_F(ORegistryPlain, GivesDefaultsWhileNoKeyIsOpen)
{
    ORegistry reg;
    CString sText;
    EXPECT_EQ(reg.ReadString("Text", sText, "default"), "default");
    char acText[8] = "1234567";
    reg.ReadPChar("Text", acText, 8, "lamp");
    EXPECT_STREQ(acText, "lamp");
    EXPECT_EQ(reg.ReadInteger("Number", 7), 7);
    EXPECT_EQ(reg.ReadDouble("Number", 2.5), 2.5);
    const FILETIME time{1, 2};
    EXPECT_EQ(reg.ReadFileTime("Time", &time).dwLowDateTime, 0u);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(ORegistryPlain, ReadsTextAloneAndOfAtMost512Bytes)
{
    StoreNumber("Key", "Number", 5);
    Store("Key", "Expand", REG_EXPAND_SZ, std::string("lamp\0", 5));
    StoreText("Key", "Fits", std::string(511, 'x'));
    StoreText("Key", "TooLong", std::string(512, 'x'));
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    CString sText;
    EXPECT_EQ(reg.ReadString("Number", sText, "default"), "default");
    EXPECT_EQ(reg.ReadString("Expand", sText, "default"), "default");
    EXPECT_EQ(reg.ReadString("TooLong", sText, "default"), "default");
    EXPECT_EQ(reg.ReadString("Fits", sText, "default").GetLength(), 511);
}

TEST_F(ORegistryPlain, ReadsTextThatWasStoredWithoutItsEnd)
{
    Store("Key", "Full", REG_SZ, std::string(512, 'x'));
    Store("Key", "Short", REG_SZ, "lamp");
    Store("Key", "Empty", REG_SZ, "");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    CString sText;
    EXPECT_EQ(reg.ReadString("Full", sText, nullptr).GetLength(), 512);
    EXPECT_EQ(reg.ReadString("Short", sText, nullptr), "lamp");
    EXPECT_EQ(reg.ReadString("Empty", sText, "default"), "");
}

TEST_F(ORegistryPlain, CopiesIntoBuffersAsStrncpyDoes)
{
    StoreText("Key", "Text", "lamp");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    char acText[8];
    std::memset(acText, '#', sizeof acText);
    reg.ReadPChar("Text", acText, 7, nullptr);
    EXPECT_EQ(std::string(acText, 8), std::string("lamp\0\0\0#", 8));

    std::memset(acText, '#', sizeof acText);
    reg.ReadPChar("Text", acText, 4, nullptr);
    EXPECT_EQ(std::string(acText, 8), "lamp####");

    reg.ReadPChar("Missing", acText, 3, "default");
    EXPECT_EQ(std::string(acText, 8), "defp####");
    reg.ReadPChar("Missing", acText, 0, "default");
    reg.ReadPChar("Missing", acText, -1, "default");
    EXPECT_EQ(std::string(acText, 8), "defp####");
}

TEST_F(ORegistryPlain, ReadsIntegersAsAtoiDoes)
{
    const struct { const char* pText; int iExpected; } rows[] = {
        {"42", 42}, {"-7", -7}, {" +8", 8}, {"12 lamps", 12}, {"lamp", 0}, {"2.9", 2},
        {"2147483647", 2147483647}, {"-2147483648", -2147483647 - 1},
        {"99999999999999999999", 2147483647}, {"-99999999999", -2147483647 - 1},
    };
    for (const auto& row : rows)
    {
        StoreText("Key", "Number", row.pText);
        ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
        EXPECT_EQ(reg.ReadInteger("Number", 99), row.iExpected) << row.pText;
    }
    StoreText("Key", "Number", "");
    StoreNumber("Key", "Binary", 5);
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(reg.ReadInteger("Number", 99), 99);
    EXPECT_EQ(reg.ReadInteger("Binary", 99), 99);
    EXPECT_EQ(reg.ReadInteger("Missing", 99), 99);
}

TEST_F(ORegistryPlain, ReadsDoublesAsStrtodDoes)
{
    const std::string sTiny = "0." + std::string(330, '0') + "1";
    const std::string sHuge = "1" + std::string(330, '0');
    const struct { std::string sText; double fExpected; } rows[] = {
        {"2.50", 2.5}, {"-0.25", -0.25}, {"  +14.5e1 l/min", 145.0}, {".5", 0.5}, {"5.", 5.0}, {"1e-3", 0.001}, {"lamp", 0.0},
        {"-", 0.0}, {"inf", 0.0}, {"nan", 0.0}, {"0x10", 0.0}, {"2,5", 2.0},
        {"1e999", HUGE_VAL}, {"-1e999", -HUGE_VAL}, {"1e-999", 0.0}, {sTiny, 0.0}, {sHuge, HUGE_VAL},
        {sTiny + "e335", 1e4}, {sHuge + "e-330", 1.0}, {sHuge + "e-2", HUGE_VAL}, {"1e99999999999", HUGE_VAL},
    };
    for (const auto& row : rows)
    {
        StoreText("Key", "Number", row.sText);
        ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
        EXPECT_EQ(reg.ReadDouble("Number", 99), row.fExpected) << row.sText;
    }
    StoreText("Key", "Number", "");
    StoreNumber("Key", "Binary", 5);
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(reg.ReadDouble("Number", 99), 99.0);
    EXPECT_EQ(reg.ReadDouble("Binary", 99), 99.0);
    EXPECT_EQ(reg.ReadDouble("Missing", 99), 99.0);
}

TEST_F(ORegistryPlain, ReadsAndWritesDoublesWithAPointWhateverTheLocale)
{
    struct OLocale
    {
        bool HasComma()
        {
            for (const char* pName : {"de_DE.UTF-8", "de_DE", "German", "fr_FR.UTF-8", "French"})
                if (std::setlocale(LC_ALL, pName) && *std::localeconv()->decimal_point == ',') return true;
            return false;
        }
        ~OLocale() { std::setlocale(LC_ALL, "C"); }
    } locale;
    if (!locale.HasComma()) GTEST_SKIP() << "this machine has no locale with a decimal comma";

    MakeKey("Key");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    reg.WriteDouble("Number", 2.5, 2);
    EXPECT_EQ(StoredText("Key", "Number"), "2.50");
    EXPECT_EQ(reg.ReadDouble("Number", 99), 2.5);
}

TEST_F(ORegistryPlain, ReadsTimesOfWhateverType)
{
    const FILETIME stored{0x11223344, 0x55667788};
    const FILETIME other{1, 2};
    const std::string sBytes(reinterpret_cast<const char*>(&stored), sizeof stored);
    Store("Key", "Time", REG_BINARY, sBytes);
    Store("Key", "Long", REG_QWORD, sBytes);
    Store("Key", "Short", REG_BINARY, sBytes.substr(0, 4));
    Store("Key", "TooLong", REG_BINARY, sBytes + "more");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    const auto read = [&](const char* pName, const FILETIME* pDefault)
    {
        const FILETIME time = reg.ReadFileTime(pName, pDefault);
        return std::pair(time.dwLowDateTime, time.dwHighDateTime);
    };
    const std::pair storedPair(stored.dwLowDateTime, stored.dwHighDateTime);
    const std::pair otherPair(other.dwLowDateTime, other.dwHighDateTime);
    const std::pair<DWORD, DWORD> zero;
    EXPECT_EQ(read("Time", &other), storedPair);
    EXPECT_EQ(read("Long", &other), storedPair);
    EXPECT_EQ(read("Short", &other), std::pair(stored.dwLowDateTime, DWORD{0}));
    EXPECT_EQ(read("TooLong", &other), otherPair);
    EXPECT_EQ(read("TooLong", nullptr), zero);
    EXPECT_EQ(read("Missing", &other), otherPair);
    EXPECT_EQ(read("Missing", nullptr), zero);
}

// Plain writes ---------------------------------------------------------------------------------------------------------------

TEST_F(ORegistryPlain, WritesNumbersAsTextAndTimesAsBytes)
{
    MakeKey("Key");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    reg.WritePChar("PChar", "lamp");
    reg.WriteString("String", CString("lamps"));
    reg.WriteInteger("Integer", -2147483647 - 1);
    reg.WriteDouble("Double", 2.5, 2);
    const FILETIME time{0x11223344, 0x55667788};
    reg.WriteFileTime("Time", &time);
    EXPECT_EQ(Stored("Key", "PChar"), (StoredValue{REG_SZ, std::string("lamp\0", 5)}));
    EXPECT_EQ(Stored("Key", "String"), (StoredValue{REG_SZ, std::string("lamps\0", 6)}));
    EXPECT_EQ(Stored("Key", "Integer"), (StoredValue{REG_SZ, std::string("-2147483648\0", 12)}));
    EXPECT_EQ(Stored("Key", "Double"), (StoredValue{REG_SZ, std::string("2.50\0", 5)}));
    EXPECT_EQ(Stored("Key", "Time"), (StoredValue{REG_BINARY, "\x44\x33\x22\x11\x88\x77\x66\x55"}));
}

TEST_F(ORegistryPlain, WritesDoublesAsPrintfDoes)
{
    const struct { double fValue; int iPrecision; std::string sExpected; } rows[] = {
        {0.126, 2, "0.13"}, {0.004, 2, "0.00"}, {-1.5, 0, "-2"}, {1e22, 1, "10000000000000000000000.0"}, {1.0 / 3, 6, "0.333333"},
        {2.5, -1, "2.500000"}, {0.1, 20, "0.10000000000000000555"}, {1.0, 300, "1." + std::string(300, '0')},
        {-1.7976931348623157e308, 2, std::string("-17976931348623157") + "*"},
    };
    MakeKey("Key");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    for (const auto& row : rows)
    {
        reg.WriteDouble("Double", row.fValue, row.iPrecision);
        std::string sStored = StoredText("Key", "Double").value_or("nothing");
        if (row.sExpected.back() == '*')
        {
            EXPECT_EQ(sStored.size(), 1u + 309 + 1 + 2);
            sStored = sStored.substr(0, row.sExpected.size() - 1) + "*";
        }
        EXPECT_EQ(sStored, row.sExpected);
    }
}

TEST_F(ORegistryPlain, WritesNothingWhileNoKeyIsOpen)
{
    MakeKey("Key");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    reg.CloseKey();
    reg.WritePChar("PChar", "lamp");
    reg.WriteString("String", "lamp");
    reg.WriteInteger("Integer", 1);
    reg.WriteDouble("Double", 1, 1);
    const FILETIME time{};
    reg.WriteFileTime("Time", &time);
    for (const char* pName : {"PChar", "String", "Integer", "Double", "Time"}) EXPECT_EQ(Stored("Key", pName), std::nullopt);
}

TEST_F(ORegistryPlain, IgnoresAMissingTextAndARefusedWrite)
{
    StoreText("Key", "Text", "old");
    ORegistry reg;
    reg.InitAccess(KEY_READ);
    reg.OpenKey("Key", ORegistry::OPEN_ONLY);
    reg.WritePChar("Text", "new");
    ORegistry writer(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    writer.WritePChar("Text", nullptr);
    writer.WriteFileTime("Text", nullptr);
    EXPECT_EQ(StoredText("Key", "Text"), "old");
    EXPECT_EQ(log.Errors(), Lines{});
}

// Accessors ------------------------------------------------------------------------------------------------------------------

TEST_F(ORegistryKey, SaysWhatIsMissing)
{
    ORegistry reg;
    EXPECT_RAISES(reg.GetKeyHandle(), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | GetKeyHandle | " + ksNotOpen});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::GetKeyHandle"});
    EXPECT_RAISES(reg.GetPath(), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | GetPath | Object is not initialised: mhKey=NULL "});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::GetPath"});
    reg.SetRoot(nullptr);
    EXPECT_RAISES(reg.GetRootKeyHandle(), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | GetRootKeyHandle | Object is not initialised: mhRootKey=NULL"});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::GetRootKeyHandle"});
}

TEST_F(ORegistryKey, LeavesTheBufferOfGetCurrentPathAlone)
{
    MakeKey("Key");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    char acPath[4] = "abc";
    reg.GetCurrentPath(acPath);
    EXPECT_STREQ(acPath, "abc");
    reg.GetCurrentPath(nullptr);
}

TEST(ORegistry, ParsesNumbersInThreeNotations)
{
    const struct { const char* pText; int iExpected; } rows[] = {
        {"$1F", 31}, {"0x1f", 31}, {"0X1F", 31}, {"31", 31}, {"-31", -31}, {" 31", 31}, {"031", 31}, {"31x", 31},
        {"", 0}, {"lamp", 0}, {"$", 0}, {"0x", 0}, {"0xlamp", 0}, {"$FFFFFFFF", -1}, {"0x7FFFFFFF", 2147483647},
        {"0", 0}, {"x1F", 0},
    };
    ORegistry reg;
    for (const auto& row : rows) EXPECT_EQ(reg.GetIntValue(row.pText), row.iExpected) << row.pText;
}
