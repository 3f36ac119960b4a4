// The log manager: its files, what it writes, and when.
#include "ODbgManagerDll.h"

#include "LogManagerFiles.h"
#include "OLogFile.h"
#include "ONameList.h"
#include "Raises.h"
#include "Wine.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace
{
class ODbgManagerLog : public LogManagerFiles
{
};
} // namespace

// Calling through the table shows where each virtual member stands. Two entries are the destructor's, on both systems.
TEST(ODbgManagerMembers, StandInTheirOrder)
{
    struct OProbe : ODbgManager
    {
        void Raise(ULONG) override { iCalled = 2; }
        void Writeln(const char*, const char*, const char*, const char*, int) override { iCalled = 3; }
        int IsEnabled(const char*, const char*, const char*) override { return iCalled = 4; }
        void UpdateRegistry() override { iCalled = 5; }
        int iCalled = -1;
    } probe;
    void* const* pTable = nullptr;
    std::memcpy(&pTable, static_cast<void*>(&probe), sizeof pTable);
    for (int iSlot = 2; iSlot <= 5; ++iSlot)
    {
        using Member = void* (*)(OProbe*, const char*, const char*, const char*, const char*, int);
        reinterpret_cast<Member>(pTable[iSlot])(&probe, "", "", "", "", 0);
        EXPECT_EQ(probe.iCalled, iSlot);
    }
}

// Start and end ---------------------------------------------------------------------------------------------------------------

TEST_F(ODbgManagerLog, BeginsAndEndsBothFilesWithABanner)
{
    SYSTEMTIME before{}, after{};
    GetLocalTime(&before);
    Start();
    GetLocalTime(&after);
    const auto banner = [](const SYSTEMTIME& time)
    {
        char acText[200];
        _snprintf(acText, sizeof acText, "*********************** Application Started [%u:%u:%u  %u:%u] ***********************", time.wYear,
                  time.wMonth, time.wDay, time.wHour, time.wMinute);
        return std::string(acText);
    };
    const Lines begun = LinesOf(msLog);
    ASSERT_EQ(begun.size(), 1u);
    EXPECT_TRUE(begun[0] == banner(before) || begun[0] == banner(after)) << begun[0];
    EXPECT_TRUE(std::regex_match(begun[0], std::regex(kpStartedPattern)));
    EXPECT_EQ(LinesOf(msErrors), begun);
    Stop();
    EXPECT_EQ(LinesOf(msLog), (Lines{begun[0], kpTerminatedBanner}));
    EXPECT_EQ(LinesOf(msErrors), (Lines{begun[0], kpTerminatedBanner}));
    EXPECT_TRUE(DeleteFileA(msLog.c_str())); // nobody has it open
    EXPECT_TRUE(DeleteFileA(msErrors.c_str()));
}

TEST_F(ODbgManagerLog, AppendsToTheLogAndEmptiesTheErrorFile)
{
    for (int i = 0; i < 2; ++i)
    {
        Start(1);
        object.LogGroup("Error", "C", "I", "run %d", i);
        Stop();
    }
    EXPECT_EQ(LinesOf(msLog).size(), 6u);
    EXPECT_EQ(Logged(), (Lines{"Error : C : I : run 0", "Error : C : I : run 1"}));
    const Lines errors = LinesOf(msErrors);
    ASSERT_EQ(errors.size(), 3u);
    EXPECT_TRUE(errors[1].starts_with("run 1 . Error Occurred at ")) << errors[1];
}

TEST_F(ODbgManagerLog, IsSetUpAsDocumented)
{
    ODbgManagerCore fresh;
    EXPECT_EQ(fresh.GetErrorBase(), 13000u);
    EXPECT_EQ(fresh.mulEnabled, 1u);
    EXPECT_EQ(fresh.mulDefaultEnable, 1u);
    EXPECT_EQ(fresh.mulUpdateRegistry, 0u);
    fresh.mulErrorsOnly = 7;
    fresh.DbgManagerInit();
    EXPECT_EQ(fresh.mulErrorsOnly, 7u);
}

TEST_F(ODbgManagerLog, WritesOnlyErrorsUntilTheRegistrySaysOtherwise)
{
    manager.emplace();
    manager->Init(0, msLog.c_str()); // nothing has ever been logged: not even the key is there
    EXPECT_EQ(manager->mulErrorsOnly, 1u);
    EXPECT_EQ(manager->mulEnabled, 1u);
    EXPECT_EQ(manager->mulDefaultEnable, 1u);
    EXPECT_EQ(StoredNumber("Debug", "EnableErrorsOnly"), 1u);
    Start(0, 2, 0, 5);
    EXPECT_EQ(manager->mulErrorsOnly, 0u);
    EXPECT_EQ(manager->mulEnabled, 2u);
    EXPECT_EQ(manager->mulDefaultEnable, 0u);
    EXPECT_EQ(manager->mulUpdateRegistry, 5u);
}

TEST_F(ODbgManagerLog, AnotherInitReplacesListsAndFiles)
{
    Start();
    object.LogGroup("Comms", "C", "I", "one");
    StoreNumber("Debug\\Comms\\C\\I", "Enabled", 0);
    StoreNumber("Debug\\Comms\\C", "Enabled", 0);
    StoreNumber("Debug\\Comms", "Enabled", 0);
    const std::string sOther = mFolder / "Other.log";
    manager->Init(0, sOther.c_str());
    object.LogGroup("Comms", "C", "I", "two");
    object.LogGroup("Lamp", "C", "I", "three");
    EXPECT_EQ(Logged(), Lines{"Comms : C : I : one"});
    EXPECT_EQ(Bare(sOther), Lines{"Lamp : C : I : three"});
}

TEST_F(ODbgManagerLog, StaysInstalledWhenItIsDestroyed)
{
    Start();
    ODbgManager* const pInstalled = &*manager;
    manager.reset();
    EXPECT_EQ(OBase::mpDbgManager, pInstalled);
    log.SetDbgManager(nullptr);
}

TEST_F(ODbgManagerLog, CopiesShareTheFilesAndTheLastOneEndsThem)
{
    Start();
    {
        OSteppedManager copy(*manager);
        EXPECT_EQ(copy.GetErrorBase(), 13000u);
        EXPECT_EQ(copy.IsEnabled("Comms", "C", "I"), 1);
        Stop();
        copy.Writeln("still here", "Comms", "C", "I", 0);
        EXPECT_EQ(LinesOf(msLog).back(), "       0.000 : Comms : C : I : still here");
    }
    EXPECT_EQ(LinesOf(msLog).back(), kpTerminatedBanner);
    EXPECT_EQ(std::ranges::count(LinesOf(msLog), std::string(kpTerminatedBanner)), 1);
}

// Folders ---------------------------------------------------------------------------------------------------------------------

TEST_F(ODbgManagerLog, MakesItsFolderAndTakesSlashesAndBackslashesAlike)
{
    for (const std::string sPath : {"a/App.log", "b\\App.log", "a\\c/App.log", "b/d\\App.log"})
    {
        manager.emplace();
        manager->Init(0, (mFolder / sPath).c_str());
        std::string sErrors = mFolder / sPath;
        sErrors.replace(sErrors.size() - 7, 7, "Error.Log");
        EXPECT_EQ(LinesOf(sErrors).size(), 1u) << sPath;
        manager.reset();
    }
}

TEST_F(ODbgManagerLog, MakesNoMoreThanOneFolder)
{
    manager.emplace();
    EXPECT_RAISES(manager->Init(0, (mFolder / "a/b/App.log").c_str()), 9005);
    EXPECT_FALSE(fs::exists(mFolder / "a"));
    EXPECT_RAISES(manager->Writeln("text", "G", "C", "I", 0), 13002);
}

TEST_F(ODbgManagerLog, ASeparatorAtTheEndIsNotWhereTheFolderEnds)
{
    for (const std::string sEnd : {"\\", "/"})
    {
        manager.emplace();
        EXPECT_RAISES(manager->Init(0, (mFolder / ("new" + sEnd + "Logs" + sEnd)).c_str()), 9005); // a file cannot be called that
        EXPECT_TRUE(fs::is_directory(mFolder / "new"));
        EXPECT_FALSE(fs::exists(mFolder / "new/Logs"));
        fs::remove(mFolder / "new");
    }
}

TEST(LogFolder, EndsBeforeTheLastSeparatorThatIsNotTheLastCharacter)
{
    EXPECT_EQ(LogFolder("C:\\Data\\Logs\\App.log"), "C:\\Data\\Logs");
    EXPECT_EQ(LogFolder("C:\\Data\\Logs\\"), "C:\\Data");
    EXPECT_EQ(LogFolder("/var/logs/App.log"), "/var/logs");
    EXPECT_EQ(LogFolder("/var/logs/"), "/var");
    EXPECT_EQ(LogFolder("/var\\logs/App.log"), "/var\\logs");
    EXPECT_EQ(LogFolder("C:\\App.log"), "C:");
    EXPECT_EQ(LogFolder("/App.log"), "");
    EXPECT_EQ(LogFolder("App.log"), ".");
    EXPECT_EQ(LogFolder(""), ".");
}

TEST_F(ODbgManagerLog, ANameWithoutAFolderIsInTheWorkingOne)
{
    const fs::path before = fs::current_path();
    fs::current_path(mFolder.Path());
    manager.emplace();
    manager->Init(0, "App.log");
    manager->Writeln("text", "G", "C", "I", 0);
    fs::current_path(before);
    EXPECT_EQ(Logged(), Lines{"G : C : I : text"});
    EXPECT_EQ(LinesOf(msErrors).size(), 1u);
}

// Failed starts ---------------------------------------------------------------------------------------------------------------

TEST_F(ODbgManagerLog, AStartThatFailsSaysSoAndWritesNothing)
{
    fs::create_directory(msErrors);
    MakeKey("Debug");
    log.SetDbgManager(&log);
    manager.emplace();
    EXPECT_RAISES(manager->Init(0, msLog.c_str()), 9005);
    EXPECT_EQ(ReadText(msLog), "");
    const Lines places = log.Places();
    ASSERT_GE(places.size(), 2u);
    EXPECT_EQ(places[places.size() - 2], "Caught in ODbgManager::Init");
    EXPECT_EQ(places[places.size() - 1], "Caught in ODbgManagerCore::Init");
    EXPECT_TRUE(DeleteFileA(msLog.c_str()));
}

TEST_F(ODbgManagerLog, ReadOnlyLogsAreRefused)
{
    if (RunsUnderWine() && RunsAsAdministrator()) GTEST_SKIP() << "Wine lets an administrator write to read-only files";
    ASSERT_TRUE(WriteText(msLog, "kept"));
    ASSERT_TRUE(SetFileAttributesA(msLog.c_str(), FILE_ATTRIBUTE_READONLY));
    manager.emplace();
    EXPECT_RAISES(manager->Init(0, msLog.c_str()), 9005);
    EXPECT_EQ(ReadText(msLog), "kept");
    SetFileAttributesA(msLog.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(ODbgManagerLog, AFailedRestartLeavesTheFilesOpenThatWere)
{
    Start();
    EXPECT_RAISES(manager->Init(0, (mFolder / "none/none/App.log").c_str()), 9005);
    object.LogGroup("Comms", "C", "I", "on we go");
    const Lines lines = Logged();
    ASSERT_GE(lines.size(), 4u); // why it failed, where that was caught, and what comes then
    EXPECT_TRUE(lines[0].starts_with("Error : OApiFile : Init : CreateFile (")) << lines[0];
    EXPECT_TRUE(lines[0].ends_with(") failed; System error: 3")) << lines[0];
    EXPECT_TRUE(lines[1].ends_with(" : Caught in OApiFile::Init")) << lines[1];
    EXPECT_EQ(lines.back(), "Comms : C : I : on we go");
}

TEST_F(ODbgManagerLog, ASwitchOfTheWrongTypeIsTheRegistrysError)
{
    StoreText("Debug", "Enabled", "yes");
    manager.emplace();
    EXPECT_RAISES(manager->Init(0, msLog.c_str()), 19008);
    EXPECT_FALSE(fs::exists(msLog));
}

TEST_F(ODbgManagerLog, RaisesTwoUntilItIsStarted)
{
    ODbgManagerCore fresh;
    log.SetDbgManager(&log);
    EXPECT_RAISES(fresh.IsEnabled("G", "C", "I"), 13002);
    EXPECT_EQ(log.Places(), Lines{"Caught in ODbgManagerCore::IsEnabled"});
    EXPECT_RAISES(fresh.Writeln("text", "G", "C", "I", 0), 13002);
    EXPECT_EQ(log.Places(), Lines{"Caught in ODbgManagerCore::Writeln"});
    EXPECT_RAISES(fresh.WriteErrorLine("text"), 13002);
    EXPECT_EQ(log.Places(), Lines{"Caught in ODbgManagerCore::WriteErrorLine"});
    fresh.UpdateRegistry();
    fresh.mulEnabled = 0;
    EXPECT_EQ(fresh.IsEnabled("G", "C", "I"), 0);

    // Logging through it neither fails nor goes round without end.
    log.SetDbgManager(&fresh);
    for (const ULONG ulErrorsOnly : {0u, 1u})
    {
        fresh.mulEnabled = 1;
        fresh.mulErrorsOnly = ulErrorsOnly;
        object.LogGroup("Error", "C", "I", "text");
    }
    log.SetDbgManager(nullptr);
}

// Lines -----------------------------------------------------------------------------------------------------------------------

TEST_F(ODbgManagerLog, CountsSecondsFromTheStartInTwelveColumns)
{
    Start();
    const double kForward[] = {1.5, 8.5, 90, 900, 12345.0625, 86400.0 * 366 * 3};
    double fTotal = 0;
    for (const double fForward : kForward)
    {
        manager->GoForward(fForward);
        fTotal += fForward;
        const auto started = std::chrono::steady_clock::now();
        object.LogGroup("G", "C", "I", "text");
        const std::string sLine = LinesOf(msLog).back();
        ASSERT_EQ(sLine.size(), 12 + std::string(" : G : C : I : text").size()) << sLine;
        EXPECT_EQ(sLine[8], '.');
        EXPECT_NE(sLine[11], ' ');
        const double fSeconds = std::stod(sLine.substr(0, 12));
        EXPECT_GE(fSeconds, fTotal - 0.001) << sLine;
        EXPECT_LE(fSeconds, fTotal + 60 + std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count()) << sLine;
    }
    EXPECT_TRUE(LinesOf(msLog)[1].starts_with("       1.5")) << LinesOf(msLog)[1];
    manager->GoForward(1e9); // beyond the columns
    object.LogGroup("G", "C", "I", "text");
    EXPECT_TRUE(LinesOf(msLog).back().starts_with("1094880545.")) << LinesOf(msLog).back();
}

TEST_F(ODbgManagerLog, WritesNamesAndTextAsTheyAre)
{
    Start();
    object.LogGroup("Comms", "OSerial", "Read", "%d of %s", 5, "100%");
    manager->Writeln("50%s %n", "a : b", "\xC3\x96", "i", 0);
    manager->Writeln("", "G", "C", "I", 0);
    EXPECT_EQ(Logged(), (Lines{"Comms : OSerial : Read : 5 of 100%", "a : b : \xC3\x96 : i : 50%s %n", "G : C : I : "}));
}

TEST_F(ODbgManagerLog, WritesLinesOfAnyLength)
{
    Start();
    for (const std::size_t ulLength : {1023u, 1990u, 2000u, 2010u, 2048u, 70'000u})
    {
        const std::string sText(ulLength, 't'), sGroup(ulLength / 10, 'g');
        manager->Writeln(sText.c_str(), sGroup.c_str(), "C", "I", 0);
        EXPECT_EQ(Logged().back(), sGroup + " : C : I : " + sText);
    }
}

TEST_F(ODbgManagerLog, AsksTheSwitchesOnlyWhenItIsToldTo)
{
    Start(0, 1, 0); // what is not known is silent
    manager->Writeln("asked", "G", "C", "I", 1);
    manager->Writeln("not asked", "G", "C", "I", 0);
    manager->mulErrorsOnly = 1; // in this mode the caller has decided
    manager->Writeln("forced", "G", "C", "I", 1);
    EXPECT_EQ(Logged(), (Lines{"G : C : I : not asked", "G : C : I : forced"}));
}

TEST_F(ODbgManagerLog, AnEmptyNameGivesFourLinesThatShowIt)
{
    Start();
    char acClass[] = "OSerial";
    char acAddress[40];
    _snprintf(acAddress, sizeof acAddress, "pName2=%I64x", reinterpret_cast<ULONGLONG>(acClass));
    manager->Writeln("some text", "", acClass, "Item", 0);
    const Lines lines = Logged();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_TRUE(std::regex_match(lines[0], std::regex("ODbgManager::Writeln : pName1=[0-9a-f]+ : pName2=[0-9a-f]+ : pName3=[0-9a-f]+")))
        << lines[0];
    EXPECT_NE(lines[0].find(acAddress), std::string::npos) << lines[0];
    EXPECT_EQ(lines[1], "ODbgManager::Writeln : Len1=0 : Len2=7 : Len3=4");
    EXPECT_EQ(lines[2], "ODbgManager::Writeln : Str1= : Str2=OSerial : Str3=Item");
    EXPECT_EQ(lines[3], "ODbgManager::Writeln : Length=9 : pText=some text");
    manager->Writeln("text", "Sixteen letters!", "", "Item", 0);
    manager->Writeln("text", "G", "C", "", 0);
    manager->Writeln("text", "G", nullptr, "I", 0);
    manager->Writeln(nullptr, "G", "C", "I", 0);
    const Lines more = Logged();
    ASSERT_EQ(more.size(), 20u);
    EXPECT_EQ(more[5], "ODbgManager::Writeln : Len1=10 : Len2=0 : Len3=4"); // in hexadecimal
    EXPECT_EQ(more[10], "ODbgManager::Writeln : Str1=G : Str2=C : Str3=");
    EXPECT_EQ(more[14], "ODbgManager::Writeln : Str1=G : Str2=(null) : Str3=I");
    EXPECT_EQ(more[19], "ODbgManager::Writeln : Length=0 : pText=(null)");
}

TEST_F(ODbgManagerLog, ANameThatCannotBeReadGivesFourLinesToo)
{
    Start();
    const auto* const pBad = reinterpret_cast<const char*>(16);
    SetupSignal();
    manager->Writeln("text", "G", pBad, "I", 0);
    manager->Writeln(pBad, "G", "C", "I", 0);
    LumSetFaultTranslator(nullptr);
    manager->Writeln("text", "G", "C", "I", 0);
    const Lines lines = Logged();
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_NE(lines[0].find("pName2=10 :"), std::string::npos) << lines[0];
    EXPECT_EQ(lines[1], "ODbgManager::Writeln : Len1=1 : Len2=0 : Len3=1");
    EXPECT_EQ(lines[2], "ODbgManager::Writeln : Str1=G : Str2=(unreadable) : Str3=I");
    EXPECT_EQ(lines[3], "ODbgManager::Writeln : Length=4 : pText=text");
    EXPECT_EQ(lines[7], "ODbgManager::Writeln : Length=0 : pText=(unreadable)");
    EXPECT_EQ(lines[8], "G : C : I : text");
}

TEST_F(ODbgManagerLog, ErrorLinesHaveTheTimeBehindThem)
{
    Start(1);
    object.LogGroup("Error", "C", "I", "no gas");
    object.LogGroup("Warning", "C", "I", "little gas");
    object.LogGroup("Info", "C", "I", "gas");
    manager->WriteErrorLine("by hand");
    EXPECT_EQ(Logged(), (Lines{"Error : C : I : no gas", "Warning : C : I : little gas"}));
    const Lines errors = ErrorLines();
    ASSERT_EQ(errors.size(), 2u);
    const std::string sTime = " \\. Error Occurred at \\d\\d-[A-Z][a-z]{2}-\\d\\d (0[1-9]|1[0-2]):[0-5]\\d:[0-6]\\d [AP]M";
    EXPECT_TRUE(std::regex_match(errors[0], std::regex("no gas" + sTime))) << errors[0];
    EXPECT_TRUE(std::regex_match(errors[1], std::regex("by hand" + sTime))) << errors[1];
}

TEST_F(ODbgManagerLog, WithoutErrorsOnlyTheErrorFileStaysEmpty)
{
    Start();
    object.LogGroup("Error", "C", "I", "no gas");
    EXPECT_EQ(Logged(), Lines{"Error : C : I : no gas"});
    EXPECT_EQ(ErrorLines(), Lines{});
}

TEST_F(ODbgManagerLog, TheCallFramesLinesReachTheLogWhateverTheListsSay)
{
    for (const DWORD dwErrorsOnly : {0u, 1u})
    {
        Start(dwErrorsOnly, 1, 1 - dwErrorsOnly);
        ONameList list(HKEY_LOCAL_MACHINE, "Debug");
        EXPECT_RAISES(list.GetAt(0), 17504);
        const Lines lines = Logged();
        ASSERT_FALSE(lines.empty());
        EXPECT_TRUE(lines.back().starts_with("ExceptionApp : ONameList : Item : ")) << lines.back();
        EXPECT_TRUE(lines.back().ends_with(" : Caught in ONameList::GetAt")) << lines.back();
        Stop();
    }
}

// Switches --------------------------------------------------------------------------------------------------------------------

TEST_F(ODbgManagerLog, NothingIsLoggedWhenItIsDisabled)
{
    Start(0, 0);
    object.LogGroup("Error", "C", "I", "text");
    object.LogGroup("ExceptionApp", "C", "I", "text");
    EXPECT_EQ(manager->IsEnabled("G", "C", "I"), 0);
    manager->Writeln("text", "G", "C", "I", 1);
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(ODbgManagerLog, LearnsCombinationsAndWritesThemForTheOperator)
{
    StoreNumber("Debug\\OnlyThere", "Enabled", 1);
    Start(0, 1, 0, 1);
    StoreNumber("Debug\\Later", "Enabled", 1);
    object.LogGroup("Comms", "OSerial", "Read", "silent from the first call on");
    object.LogGroup("Comms", "OSerial", "Read", "still");
    EXPECT_EQ(Logged(), Lines{});
    manager->UpdateRegistry();
    for (const char* pKey : {"Debug\\Comms", "Debug\\Comms\\OSerial", "Debug\\Comms\\OSerial\\Read"})
        EXPECT_EQ(StoredNumber(pKey, "Enabled"), 0u) << pKey;
    EXPECT_EQ(StoredNumber("Debug\\OnlyThere", "Enabled"), 1u);
    EXPECT_FALSE(HasKey("Debug\\Later")); // not known to the lists
    EXPECT_EQ(StoredNumber("Debug", "Enabled"), 1u);
    EXPECT_EQ(StoredNumber("Debug", "DefaultEnable"), 0u);
    EXPECT_EQ(StoredNumber("Debug", "EnableErrorsOnly"), 0u);
    Stop();

    StoreNumber("Debug\\Comms\\OSerial", "Enabled", 1);
    Start(0, 1, 0);
    object.LogGroup("Comms", "OSerial", "Read", "switched on");
    EXPECT_EQ(Logged(), Lines{"Comms : OSerial : Read : switched on"});
}

TEST_F(ODbgManagerLog, LeavesTheRegistryAloneUnlessToldToUpdateIt)
{
    Start(0, 1, 1, 0);
    object.LogGroup("Comms", "OSerial", "Read", "text");
    manager->UpdateRegistry();
    EXPECT_FALSE(HasKey("Debug\\Comms"));
}

TEST_F(ODbgManagerLog, AnswersOneForEveryKindOfOn)
{
    Start(0, 3, 2);
    EXPECT_EQ(manager->IsEnabled("G", "C", "I"), 1);
    EXPECT_EQ(manager->IsEnabled("G", "C", "I"), 1);
}

// An operator may make keys that stop before the item.
TEST_F(ODbgManagerLog, KeysThatStopBeforeTheItemSilenceWhatTheyNameAndHarmNobody)
{
    StoreNumber("Debug\\Comms", "Enabled", 1);
    StoreNumber("Debug\\ExceptionApp", "Enabled", 1);
    Start();
    EXPECT_RAISES(manager->IsEnabled("Comms", "OSerial", "Read"), 17504);
    object.LogGroup("Comms", "OSerial", "Read", "text");
    object.LogGroup("Lamp", "OLamp", "Read", "text");
    ONameList list(HKEY_LOCAL_MACHINE, "Debug");
    EXPECT_RAISES(list.GetAt(0), 17504);
    EXPECT_EQ(Logged(), Lines{"Lamp : OLamp : Read : text"});
}

// The manager that does nothing -----------------------------------------------------------------------------------------------

TEST(ODbgManagerDll, DoesNothing)
{
    ODbgManagerDll manager;
    manager.Init(1);
    EXPECT_EQ(manager.GetErrorBase(), 13000u);
    EXPECT_EQ(manager.mulUpdateRegistry, 0u);
    manager.mulEnabled = 0;
    EXPECT_EQ(manager.IsEnabled("G", "C", "I"), 1);
    EXPECT_EQ(manager.IsEnabled(nullptr, nullptr, nullptr), 1);
    manager.Writeln(nullptr, nullptr, nullptr, nullptr, 1);
    manager.UpdateRegistry();
    manager.WriteErrorLine(nullptr);
}
