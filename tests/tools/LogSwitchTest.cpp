// lum log switches, enable and disable, as a user runs them, and what a program logs after them.
#include "LumProgram.h"
#include "ODbgManagerCore.h"
#include "ORegistry.h"
#include "RegStore.h"
#include "TempFolder.h"

#include <algorithm>

namespace
{
class LumLogSwitches : public LumProgram
{
protected:
    LumLogSwitches()
    {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Tarvek");
        LumOutput({"reg", "set", "HKLM/Software/Tarvek/Lum/General", "InstrumentType", "Cedar"});
    }
    ~LumLogSwitches() override { RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Tarvek"); }

    static constexpr const char* kpDebug = "HKLM\\Software\\Tarvek\\Lum\\ES\\Cedar\\Debug";

    static std::string Switch(const std::string& sPath)
    {
        const ProgramResult result = Lum({"reg", "get", std::string(kpDebug) + "\\" + sPath, "Enabled"});
        return result.iStatus == 0 ? result.sOut : "none\n";
    }
    // A run that must succeed, and what it remarked.
    static std::string Noted(const std::vector<std::string>& words)
    {
        const ProgramResult result = Lum(words);
        EXPECT_EQ(result.iStatus, 0) << result.sErr;
        EXPECT_EQ(result.sOut, "");
        return result.sErr;
    }
    static void LeaveErrorsOnly() { EXPECT_EQ(Noted({"log", "disable", "--errors-only"}), ""); }

    class Instrument : public OBase // a client's class, with a group of the library's or of its own
    {
    public:
        explicit Instrument(const char* pGroup) { SetGroup(pGroup); }
    };

    // What a program that starts now logs: the group, class and item of every line.
    static std::vector<std::string> Logged()
    {
        const TempFolder folder;
        char acBase[] = "Software\\Tarvek\\Lum\\ES\\Cedar\\", acNone[] = "";
        ORegistry::SetBasePath(acBase);
        {
            ODbgManagerCore manager;
            manager.Init(0, (folder / "App.log").c_str());
            Instrument utility("Utilities"), comms("Comms");
            utility.SetDbgManager(&manager);
            utility.LogClass("OMutex", nullptr, "taken");
            utility.LogClass("OEvent", nullptr, "set");
            comms.LogClass("OSerial", nullptr, "sent");
            comms.LogClass("OSerial", "Detail", "sent %d bytes", 3);
            comms.LogClass("OSocket", nullptr, "sent");
            comms.LogGroup("Error", "OSerial", "Send", "failed");
            utility.SetDbgManager(nullptr);
        }
        ORegistry::SetBasePath(acNone);
        std::vector<std::string> names;
        for (std::string sText = FileText(folder / "App.log"); !sText.empty(); sText.erase(0, sText.find('\n') + 1))
            if (sText[0] != '*') names.push_back(sText.substr(15, sText.find(" : ", sText.find(" : ", sText.find(" : ", 15) + 3) + 3) - 15));
        return names;
    }
    using Names = std::vector<std::string>;
    const Names kAll{"Utilities : OMutex : Item", "Utilities : OEvent : Item", "Comms : OSerial : Item",
                     "Comms : OSerial : Detail",  "Comms : OSocket : Item",    "Error : OSerial : Send"};
    Names AllBut(const std::string& sBeginning) const
    {
        Names names = kAll;
        std::erase_if(names, [&](const std::string& s) { return s.starts_with(sBeginning); });
        return names;
    }
};

TEST_F(LumLogSwitches, AnInstallationThatWasNeverLoggedHasTheDefaults)
{
    const std::string sText = LumOutput({"log", "switches"});
    EXPECT_TRUE(sText.starts_with("HKEY_LOCAL_MACHINE\\Software\\Tarvek\\Lum\\ES\\Cedar\\Debug\n")) << sText;
    for (const char* pPart : {"does not exist yet", "on  Enabled ", "on  DefaultEnable ", "on  EnableErrorsOnly "})
        EXPECT_NE(sText.find(pPart), sText.npos) << pPart << "\n" << sText;
    EXPECT_EQ(Lum({"reg", "list", kpDebug}).iStatus, 1); // looking makes nothing
    EXPECT_NE(LumOutput({"log", "switches", "--json"}).find("\"exists\": false"), std::string::npos);
}

TEST_F(LumLogSwitches, TheTreeIsShownWithWhatIsOnBecauseOfAnother)
{
    LumOutput({"reg", "set", std::string(kpDebug) + "\\Comms", "Enabled", "1", "-t", "dword"});
    LumOutput({"reg", "set", std::string(kpDebug) + "\\Comms\\OSerial", "Enabled", "0", "-t", "dword"});
    LumOutput({"reg", "set", std::string(kpDebug) + "\\CRC\\OCRC\\Item", "Enabled", "0", "-t", "dword"});
    LumOutput({"reg", "set", std::string(kpDebug) + "\\CRC", "Enabled", "0", "-t", "dword"});
    const std::string sText = LumOutput({"log", "switches"});
    EXPECT_TRUE(sText.ends_with("\n\n  on  Comms\n  off   OSerial  on because of Comms\n"
                                "  off CRC\n  on    OCRC\n  off     Item  on because of OCRC\n"))
        << sText;
    const std::string sJson = LumOutput({"log", "switches", "--json"});
    EXPECT_NE(sJson.find("\"name\": \"OSerial\",\n          \"on\": false,\n          \"effective\": true,"), sJson.npos) << sJson;
}

TEST_F(LumLogSwitches, ASwitchThatIsNoNumberIsPointedOut)
{
    LumOutput({"reg", "set", std::string(kpDebug) + "\\Comms", "Enabled", "1"});
    LumOutput({"reg", "set", kpDebug, "DefaultEnable", "1"});
    const std::string sText = LumOutput({"log", "switches"});
    EXPECT_NE(sText.find("??? Comms  Enabled is no number"), sText.npos) << sText;
    EXPECT_NE(sText.find("??? DefaultEnable     is no number"), sText.npos) << sText;
    EXPECT_NE(LumOutput({"log", "switches", "--json"}).find("\"DefaultEnable\": null"), std::string::npos);
    LeaveErrorsOnly();
    Noted({"log", "enable", "Comms"}); // which sets it right
    EXPECT_EQ(Switch("Comms"), "1\n");
}

TEST_F(LumLogSwitches, ANewInstallationLogsErrorsOnly)
{
    EXPECT_EQ(Logged(), (Names{"Error : OSerial : Send"}));
    EXPECT_NE(Noted({"log", "disable", "Utilities"}).find("no effect in errors-only mode"), std::string::npos);
    LeaveErrorsOnly();
    EXPECT_EQ(Logged(), AllBut("Utilities"));
    LumOutput({"log", "enable", "--errors-only"});
    EXPECT_EQ(Logged(), (Names{"Error : OSerial : Send"}));
}

TEST_F(LumLogSwitches, AGroupOfTheLibraryIsSwitchedOffBeforeItWasEverLogged)
{
    LeaveErrorsOnly();
    EXPECT_EQ(Logged(), kAll);
    EXPECT_NE(Noted({"log", "disable", "utilities"}).find("never logged there before still starts on"), std::string::npos);
    EXPECT_EQ(Switch("Utilities"), "0\n");
    EXPECT_EQ(Switch("Utilities\\OMutex\\Item"), "0\n");
    EXPECT_EQ(Logged(), AllBut("Utilities"));
    EXPECT_EQ(Noted({"log", "enable", "Utilities"}), "");
    EXPECT_EQ(Logged(), kAll);
}

TEST_F(LumLogSwitches, AGroupOfAClientIsMadeSoThatItsProgramsAreWell)
{
    LeaveErrorsOnly();
    for (const char* pPath : {"Comms", "Comms/OSerial", "Comms/OSerial/Detail"})
    {
        SCOPED_TRACE(pPath);
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Tarvek\\Lum\\ES\\Cedar\\Debug\\Comms");
        Noted({"log", "enable", pPath});
        EXPECT_EQ(Logged(), kAll); // no line is lost, and none tells of a level that is missing
    }
}

TEST_F(LumLogSwitches, DisablingSwitchesOffWhatIsBelowToo)
{
    LeaveErrorsOnly();
    for (const char* pPath : {"Comms/OSerial/Item", "Comms/OSerial/Detail", "Comms/OSocket/Item"}) Noted({"log", "enable", pPath});
    Noted({"log", "disable", "Comms"});
    EXPECT_EQ(Logged(), AllBut("Comms"));
    EXPECT_EQ(Noted({"log", "enable", "Comms\\OSerial"}), "");
    EXPECT_EQ(Logged(), AllBut("Comms : OSocket"));
    Noted({"log", "disable", "Comms/OSerial"});
    EXPECT_EQ(Noted({"log", "enable", "Comms/OSerial/Detail"}), "");
    EXPECT_EQ(Switch("Comms\\OSerial\\Detail"), "1\n");
}

TEST_F(LumLogSwitches, ASwitchBelowOneThatIsOnIsSaidToHaveNoEffect)
{
    LeaveErrorsOnly();
    Noted({"log", "enable", "Comms"});
    Noted({"log", "enable", "Comms/OSocket/Item"});
    const std::string sNote = Noted({"log", "disable", "Comms/OSerial"});
    EXPECT_NE(sNote.find("no effect while all of Comms is on"), sNote.npos) << sNote;
    EXPECT_NE(sNote.find("lum log disable Comms --alone"), sNote.npos) << sNote;
    EXPECT_EQ(Logged(), kAll);

    EXPECT_EQ(Noted({"log", "disable", "Comms", "--alone"}), "");
    EXPECT_EQ(Switch("Comms\\OSocket\\Item"), "1\n");
    Noted({"log", "disable", "Comms/OSerial/Detail"});
    EXPECT_EQ(Logged(), AllBut("Comms : OSerial"));
}

TEST_F(LumLogSwitches, TheGlobalSwitchesAreSetByTheirOptions)
{
    LumOutput({"log", "disable", "--all", "--errors-only"});
    EXPECT_EQ(Logged(), Names{});
    EXPECT_NE(Noted({"log", "enable", "Comms/OSerial/Item"}).find("logging as a whole is off"), std::string::npos);
    LumOutput({"log", "enable", "--all"});
    EXPECT_EQ(Logged(), kAll);
    LumOutput({"log", "disable", "--default"});
    EXPECT_EQ(Logged(), (Names{"Comms : OSerial : Item"}));
    EXPECT_NE(Noted({"log", "enable", "Comms"}).find("first line of each"), std::string::npos);
}

TEST_F(LumLogSwitches, APathThatIsNoneIsRefusedAndNothingIsChanged)
{
    for (const char* pPath : {"a/b/c/d", "a//b", "/a", "/", "\\a"}) ExpectRefusal({"log", "disable", pPath}, 2, pPath);
    ExpectRefusal({"log", "disable", std::string(256, 'a')}, 2, "255 characters");
    ExpectRefusal({"log", "disable"}, 2, "name one switch");
    ExpectRefusal({"log", "enable", "Comms", "--all"}, 2, "name one switch");
    ExpectRefusal({"log", "disable", "--all", "--alone"}, 2, "--alone");
    ExpectRefusal({"log", "enable", "Comms", "--alone"}, 2, "--alone");
    EXPECT_EQ(Lum({"reg", "list", kpDebug}).iStatus, 1);
}
} // namespace
