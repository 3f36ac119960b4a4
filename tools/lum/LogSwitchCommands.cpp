// lum log switches, enable, disable.
#include "Commands.h"
#include "Console.h"
#include "Json.h"
#include "LogSwitches.h"
#include "ParamValue.h"
#include "Text.h"

#include <CLI/CLI.hpp>

namespace tool
{
// ---- switches

static std::string Shown(const std::u16string& sName) { return Visible(Narrow(sName)); }

static std::string State(const LogSwitch& one)
{
    if (one.bWrongType) return Inked(Ink::Red, "??? ");
    return one.bOn ? Inked(Ink::Green, "on  ") : Inked(Ink::Faint, "off ");
}

static std::string Remark(const LogSwitch& one, const std::string& sOnAbove)
{
    if (one.bWrongType) return "  Enabled is no number: no program can start its log";
    return one.bOn || sOnAbove.empty() ? std::string() : "  on because of " + sOnAbove;
}

static void PrintBelow(const std::vector<LogSwitch>& switches, size_t uIndent, const std::string& sOnAbove)
{
    for (const LogSwitch& one : switches)
    {
        const std::string sName = Shown(one.sName);
        Print("  " + State(one) + std::string(uIndent, ' ') + sName + Inked(Ink::Faint, Remark(one, sOnAbove)));
        PrintBelow(one.below, uIndent + 2, sOnAbove.empty() && one.bOn ? sName : sOnAbove);
    }
}

static void PrintSwitches(const LogSwitches& switches)
{
    Print(Inked(Ink::Bold, Shown(FullName(LogSwitchKey()))));
    if (!switches.bExist) Print("  does not exist yet: every program starts with the defaults");
    for (size_t u = 0; u < std::size(kGlobalSwitches); ++u)
    {
        const GlobalSwitch& global = kGlobalSwitches[u];
        const LogSwitch& one = switches.globals[u];
        const std::string sName = Narrow(global.pValue), sMeaning = one.bWrongType ? "is no number: no program can start its log"
                                                                    : one.bOn      ? global.pOn
                                                                                   : global.pOff;
        Print("  " + State(one) + sName + std::string(18 - sName.size(), ' ') + Inked(Ink::Faint, sMeaning));
    }
    if (switches.groups.empty()) return;
    Print({});
    PrintBelow(switches.groups, 0, {});
}

static void AddBelow(Json& json, const std::vector<LogSwitch>& switches, bool bOnAbove)
{
    json.BeginArray("below");
    for (const LogSwitch& one : switches)
    {
        json.BeginObject().Text("name", Utf8(one.sName));
        if (one.bWrongType) json.Raw("on", "null");
        else json.Flag("on", one.bOn);
        json.Flag("effective", bOnAbove || one.bOn);
        AddBelow(json, one.below, bOnAbove || one.bOn);
        json.End();
    }
    json.End();
}

static void Switches(bool bJson)
{
    CheckRegistry();
    const LogSwitches switches = ReadLogSwitches();
    if (!bJson) return PrintSwitches(switches);
    Json json;
    json.BeginObject().Text("key", Utf8(FullName(LogSwitchKey()))).Flag("exists", switches.bExist);
    for (size_t u = 0; u < std::size(kGlobalSwitches); ++u)
    {
        const std::string sName = Narrow(kGlobalSwitches[u].pValue);
        if (switches.globals[u].bWrongType) json.Raw(sName, "null");
        else json.Flag(sName, switches.globals[u].bOn);
    }
    AddBelow(json, switches.groups, false);
    json.End();
    Print(json.Document());
}

// ---- enable, disable

struct SwitchWords
{
    std::string sPath;
    bool aGlobal[std::size(kGlobalSwitches)] = {};
    bool bAlone = false;
};

// A switch above that is on; says so and answers true when there is one.
static bool NoteOnAbove(const std::vector<std::u16string>& path, const std::vector<LogSwitch>& groups)
{
    const std::vector<LogSwitch>* pLevel = &groups;
    std::string sAbove;
    for (size_t u = 0; u + 1 < path.size(); ++u)
    {
        const LogSwitch* pThere = FindSwitch(*pLevel, path[u]);
        if (!pThere) return false;
        sAbove += (u ? "/" : "") + Shown(pThere->sName);
        if (pThere->bOn)
        {
            Note("it has no effect while all of " + sAbove + " is on: leave that to what is below with lum log disable " + sAbove +
                 " --alone");
            return true;
        }
        pLevel = &pThere->below;
    }
    return false;
}

// What keeps the switch that was just set from having an effect, or from having all of it.
static void NoteOnEffect(const std::vector<std::u16string>& path, bool bOn, bool bAlone)
{
    const LogSwitches switches = ReadLogSwitches();
    if (switches.globals[kSwitchErrorsOnly].bOn)
        return Note("it has no effect in errors-only mode, which is on: leave that with lum log disable --errors-only");
    if (!switches.globals[kSwitchAll].bOn)
        return Note("it has no effect while logging as a whole is off: switch that on with lum log enable --all");
    if (!bOn && NoteOnAbove(path, switches.groups)) return;
    if (path.size() == 3 || bAlone || bOn == switches.globals[kSwitchDefault].bOn) return;
    Note(bOn ? "the first line of each item that was never logged there before is dropped, because DefaultEnable is off"
             : "what was never logged there before still starts on, because DefaultEnable is on");
}

static void SetSwitches(const SwitchWords& words, bool bOn)
{
    const size_t uGlobals = static_cast<size_t>(std::ranges::count(words.aGlobal, true));
    if (words.sPath.empty() == (uGlobals == 0))
        throw Stop(kUsage, "name one switch, such as Comms/OSerial, or one or more of --all, --default and --errors-only");
    if (words.bAlone && words.sPath.empty()) throw Stop(kUsage, "--alone is for the switch of a group or class");
    CheckRegistry();
    for (size_t u = 0; u < std::size(kGlobalSwitches); ++u)
        if (words.aGlobal[u]) SetGlobalSwitch(kGlobalSwitches[u], bOn);
    if (words.sPath.empty()) return;
    const auto path = SwitchPath(words.sPath);
    SetLogSwitch(path, bOn, words.bAlone);
    NoteOnEffect(path, bOn, words.bAlone);
}

static CLI::App* AddSetVerb(CLI::App* pLog, SwitchWords& words, const char* pName, const char* pHelp)
{
    CLI::App* pVerb = pLog->add_subcommand(pName, pHelp);
    pVerb->add_option("PATH", words.sPath, "GROUP, GROUP/CLASS or GROUP/CLASS/ITEM, with slashes or backslashes");
    pVerb->add_flag("--all", words.aGlobal[kSwitchAll], "logging as a whole (Enabled)");
    pVerb->add_flag("--default", words.aGlobal[kSwitchDefault], "what was never logged before (DefaultEnable)");
    pVerb->add_flag("--errors-only", words.aGlobal[kSwitchErrorsOnly],
                    "errors-only mode (EnableErrorsOnly), in which a new installation is: Error, Warning, Debug and Exception...\n"
                    "are logged and nothing else is");
    pVerb->footer("A group that is on logs all its classes, a class all its items, whatever their own switches say. A group that is off\n"
                  "leaves it to its classes, a class to its items. What is missing of the path is made. Programs read the switches when\n"
                  "they start their log; names are compared with their case.");
    return pVerb;
}

void AddLogSwitchVerbs(CLI::App* pLog)
{
    static SwitchWords words;
    static bool bJson = false;
    CLI::App* pSwitches = pLog->add_subcommand("switches", "Show which groups, classes and items are logged");
    pSwitches->add_flag("--json", bJson, "as JSON");
    pSwitches->callback([] { Switches(bJson); });
    AddSetVerb(pLog, words, "enable", "Switch a group, class or item on")->callback([] { SetSwitches(words, true); });
    CLI::App* pDisable = AddSetVerb(pLog, words, "disable", "Switch a group, class or item off, with all that is below it");
    pDisable->add_flag("--alone", words.bAlone, "that switch alone: what is below it keeps its own");
    pDisable->callback([] { SetSwitches(words, false); });
}
} // namespace tool
