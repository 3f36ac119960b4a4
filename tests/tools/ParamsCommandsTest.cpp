// lum params, message and tour, as a user runs them, on the example instrument.
#include "LumProgram.h"

namespace
{
class LumParams : public LumProgram
{
protected:
    LumParams() { LumOutput({"reg", "import", LUM_EXAMPLES "/cedar.reg"}); }
    ~LumParams() override { RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Tarvek"); }
    static void RemoveKey(const char* pBelow)
    {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, (std::string("Software\\Tarvek\\Lum\\ES\\Cedar\\") + pBelow).c_str());
    }
    static bool HasKey(const char* pBelow) { return Lum({"reg", "list", std::string("HKLM/Software/Tarvek/Lum/ES/Cedar/") + pBelow}).iStatus == 0; }
};

TEST_F(LumParams, GetPrintsWhatSetWrote)
{
    EXPECT_EQ(LumOutput({"params", "get", "torch", "run", "PlasmaFlow"}), "15.00\n");
    EXPECT_EQ(LumOutput({"params", "set", "torch", "run", "PlasmaFlow", "14.5"}), "");
    EXPECT_EQ(LumOutput({"params", "get", "torch", "run", "PlasmaFlow"}), "14.50\n");
    EXPECT_EQ(LumOutput({"reg", "get", "HKLM/Software/Tarvek/Lum/ES/Cedar/Ignition/Current/RunPhase", "PlasmaFlow"}), "14.50\n");
}

TEST_F(LumParams, TheSetsAreKeptApart)
{
    LumOutput({"params", "set", "torch", "purge", "Power", "1.25", "--set", "Default"});
    EXPECT_EQ(LumOutput({"params", "get", "torch", "purge", "Power", "--set", "default"}), "1.25\n");
    EXPECT_EQ(LumOutput({"params", "get", "torch", "purge", "Power"}), "0.00\n");
}

TEST_F(LumParams, EveryBlockCanBeReadAndWritten)
{
    const std::vector<std::vector<std::string>> kValues = {
        {"torch", "FilamentWarmUpTime", "31.00"}, {"model", "ModelName", "Cedar of the test bench"}, {"model", "Radial", "1"},
        {"simulator", "SimModeOn", "1"},          {"simulator", "Acceleration", "2.50"},             {"sequencer", "SeedTime", "0.25"},
    };
    for (const auto& words : kValues)
    {
        LumOutput({"params", "set", words[0], words[1], words[2]});
        EXPECT_EQ(LumOutput({"params", "get", words[0], words[1]}), words[2] + "\n");
    }
}

TEST_F(LumParams, ShowIsATableWithThePhasesAsColumns)
{
    const std::string sTable = LumOutput({"params", "show", "torch"});
    EXPECT_NE(sTable.find("Torch ignition, set Current   HKLM\\Software\\Tarvek\\Lum\\ES\\Cedar\\Ignition\\Current\n"), std::string::npos)
        << sTable;
    EXPECT_NE(sTable.find("  PlasmaFlow               22.50      22.50       1.50      15.00\n"), std::string::npos) << sTable;
    EXPECT_NE(sTable.find("  FilamentWarmUpTime       35.00\n"), std::string::npos) << sTable;
    EXPECT_EQ(sTable.find('*'), std::string::npos) << sTable;
}

TEST_F(LumParams, ShowMarksWhatIsNotStored)
{
    RemoveKey("Ignition\\Current\\RunPhase");
    const std::string sTable = LumOutput({"params", "show", "torch"});
    EXPECT_NE(sTable.find(" 1.20*\n"), std::string::npos) << sTable;
    EXPECT_NE(sTable.find("* nothing usable is stored"), std::string::npos) << sTable;
}

TEST_F(LumParams, ShowHasEveryBlockAndBothSetsWhenAsked)
{
    const std::string sAll = LumOutput({"params", "show", "--set", "both"});
    for (const char* pTitle : {"set Current", "set Default", "Instrument model", "Simulator", "Measurement sequencer", "IsAxial = 1"})
        EXPECT_NE(sAll.find(pTitle), std::string::npos) << sAll;
}

TEST_F(LumParams, ShowAsJsonHasNumbersAsNumbers)
{
    const std::string sJson = LumOutput({"params", "show", "torch", "--json"});
    EXPECT_NE(sJson.find("\"phase\": \"run\",\n        \"name\": \"PlasmaFlow\",\n        \"value\": 15.00,\n        \"stored\": true"),
              std::string::npos)
        << sJson;
    EXPECT_NE(LumOutput({"params", "get", "model", "ModelName", "--json"}).find("\"value\": \"Cedar Dual View\""), std::string::npos);
}

TEST_F(LumParams, AMissingKeyIsNamedAndNotMade)
{
    RemoveKey("Ignition\\Current\\RunPhase");
    ExpectRefusal({"params", "set", "torch", "run", "PlasmaFlow", "14.5"}, 1,
                  "there is no key HKLM\\Software\\Tarvek\\Lum\\ES\\Cedar\\Ignition\\Current\\RunPhase");
    EXPECT_FALSE(HasKey("Ignition/Current/RunPhase"));

    const ProgramResult result = Lum({"params", "get", "torch", "run", "PlasmaFlow"});
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_EQ(result.sOut, "15.00\n");
    EXPECT_NE(result.sErr.find("this is the default"), std::string::npos);
}

TEST_F(LumParams, ANumberStoredInAnotherTypeIsSaidNotToCount)
{
    LumOutput({"reg", "set", "HKLM/Software/Tarvek/Lum/ES/Cedar/Ignition/Current/RunPhase", "Power", "5", "-t", "dword"});
    const ProgramResult result = Lum({"params", "get", "torch", "run", "Power"});
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_EQ(result.sOut, "1.20\n");
    EXPECT_NE(result.sErr.find("is no text and does not count"), std::string::npos) << result.sErr;
    EXPECT_NE(LumOutput({"params", "show", "torch"}).find(" 1.20*\n"), std::string::npos);
}

TEST_F(LumParams, AMissingModelIsTheLibrarysErrorWithItsText)
{
    RemoveKey("Model");
    ExpectRefusal({"params", "get", "model", "ModelName"}, 3, "error 19004: ");
    EXPECT_NE(LumOutput({"params", "show", "model"}).find("error 19004"), std::string::npos);
}

TEST_F(LumParams, ThePumpRateIsReadOnly)
{
    EXPECT_EQ(LumOutput({"params", "get", "torch", "run", "Pump"}), "12.00\n");
    for (const char* pPhase : {"purge", "delay", "light", "run"})
        ExpectRefusal({"params", "set", "torch", pPhase, "Pump", "5"}, 2, "read-only by design");
    EXPECT_EQ(LumOutput({"params", "get", "torch", "run", "Pump"}), "12.00\n");
}

TEST_F(LumParams, WhatIsNoNumberIsRefused)
{
    for (const char* pValue : {"14,5", "abc", "", "nan", "inf", "1.5x", "0x10"})
        ExpectRefusal({"params", "set", "torch", "run", "PlasmaFlow", pValue}, 2, "is not a number");
    for (const char* pValue : {"yes", "1.5", "4294967296", "-1"})
        ExpectRefusal({"params", "set", "model", "Radial", "--", pValue}, 2, "is not a whole number");
    EXPECT_EQ(LumOutput({"params", "get", "torch", "run", "PlasmaFlow"}), "15.00\n");
}

TEST_F(LumParams, ANumberThatIsRoundedIsSaidToBe)
{
    const ProgramResult result = Lum({"params", "set", "torch", "run", "Power", "1.255001"});
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_NE(result.sErr.find("two decimals: 1.26"), std::string::npos) << result.sErr;
}

TEST_F(LumParams, UnknownWordsAreAnsweredWithThoseThatAreKnown)
{
    ExpectRefusal({"params", "get", "lamp", "Power"}, 2, "torch, model, simulator, sequencer");
    ExpectRefusal({"params", "get", "torch", "warm", "Power"}, 2, "purge, delay, light, run");
    ExpectRefusal({"params", "get", "torch", "run", "Flow"}, 2, "AuxiliaryFlow, PlasmaFlow, NebulizerFlow, Power, Time, Pump");
    ExpectRefusal({"params", "get", "torch", "PlasmaFlow"}, 2, "belong to a phase");
    ExpectRefusal({"params", "get", "model", "run", "Radial"}, 2, "has no phases");
    ExpectRefusal({"params", "show", "lamp"}, 2, "lamp");
    ExpectRefusal({"params", "get", "torch", "run", "Power", "--set", "Factory"}, 2, "Factory");
}

// ---- message

TEST_F(LumParams, AMessageIsItsTextWithItsNumber)
{
    const std::string sText = LumOutput({"message", "19004"});
    EXPECT_NE(sText.find("(19004)"), std::string::npos) << sText;
    EXPECT_EQ(std::count(sText.begin(), sText.end(), '\n'), 1);
    EXPECT_NE(LumOutput({"message", "19004", "34001", "--json"}).find("\"id\": 34001"), std::string::npos);
}

TEST_F(LumParams, AMessageThatDoesNotExistIsTheAnswerNo)
{
    ExpectRefusal({"message", "4711"}, 1, "no text for 4711");
    ExpectRefusal({"message", "words"}, 2, "ID");
}

// ---- tour

TEST_F(LumParams, TheTourShowsRealAnswersAndLeavesEverythingAsItWas)
{
    LumOutput({"reg", "export", "HKLM\\Software\\Tarvek", File("before.reg")});
    const std::string sTour = LumOutput({"tour"});
    for (const char* pText : {"HKLM\\Software\\Tarvek\\Lum\\ES\\Cedar\\", "SetRunPlasmaFlow(15.25)", "15.25", "GetRunPower", "1.20",
                              "19004", "Caught in ORegistry::QueryStringValue", "Caught in OModelParams::GetModelName",
                              "OIntDivZeroException*", "0xC0000094", "(34001)", "->  written", "  held by the tour\n",
                              "Tour.log", "Error.Log", "M  Object is not initialised: mhKey=NULL\n"})
        EXPECT_NE(sTour.find(pText), std::string::npos) << pText << "\n" << sTour;
    LumOutput({"reg", "export", "HKLM\\Software\\Tarvek", File("after.reg")});
    ExpectSameFiles(File("after.reg"), File("before.reg"));
}

TEST_F(LumParams, TheTourLogsWhatTheSwitchesSay)
{
    const std::string sLine = "  held by the tour\n";
    EXPECT_NE(LumOutput({"tour"}).find(sLine), std::string::npos);
    EXPECT_EQ(Lum({"log", "disable", "Utilities"}).iStatus, 0);
    const std::string sTour = LumOutput({"tour"});
    EXPECT_EQ(sTour.find(sLine), std::string::npos) << sTour;
    EXPECT_NE(sTour.find("dropped: switched off"), std::string::npos) << sTour;
    LumOutput({"log", "enable", "Utilities"});
    EXPECT_NE(LumOutput({"tour"}).find(sLine), std::string::npos);
    LumOutput({"log", "enable", "--errors-only"});
    EXPECT_NE(LumOutput({"tour"}).find("dropped: errors-only mode"), std::string::npos);
}

TEST_F(LumParams, TheTourTellsOfASwitchThatTheLibraryCannotRead)
{
    RemoveKey("Debug\\Utilities");
    LumOutput({"reg", "set", "HKLM/Software/Tarvek/Lum/ES/Cedar/Debug/Utilities", "Enabled", "0", "-t", "dword"}); // without classes
    const std::string sTour = LumOutput({"tour"});
    EXPECT_NE(sTour.find("dropped: error 17504"), std::string::npos) << sTour;
    EXPECT_EQ(Lum({"log", "disable", "Utilities"}).iStatus, 0); // which sets it right
    EXPECT_NE(LumOutput({"tour"}).find("dropped: switched off"), std::string::npos);
}

TEST_F(LumParams, TheToursLogCanBeViewed)
{
    const std::string sTour = LumOutput({"tour"});
    const size_t uPath = sTour.find("lum log view ", sTour.find("The log that all")) + 13;
    const std::string sPath = sTour.substr(uPath, sTour.find('\n', uPath) - uPath);
    EXPECT_NE(LumOutput({"log", "view", sPath, "--last-run", "--errors"}).find("Caught in OModelParams::GetModelName"), std::string::npos);
}

TEST_F(LumParams, TheTourTellsWhenNoInstrumentIsInstalled)
{
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Tarvek");
    const std::string sTour = LumOutput({"tour"});
    EXPECT_NE(sTour.find("No instrument family is installed"), std::string::npos) << sTour;
    EXPECT_NE(sTour.find("a setter never creates one"), std::string::npos) << sTour;
    EXPECT_EQ(Lum({"reg", "list", "HKLM/Debug"}).iStatus, 1); // the switches that its log made
}
} // namespace
