// lum params: the instrument's parameters, through the library's own classes.
#include "Commands.h"
#include "Console.h"
#include "Json.h"
#include "ParamShow.h"
#include "ParamTable.h"
#include "ParamValue.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace tool
{
struct ParamWords
{
    std::string sBlock, sSet = "Current";
    std::vector<std::string> words;
    bool bJson = false;
};

// ---- show

static std::vector<ParamSet> SetsOf(const ParamWords& words, const ParamBlock& block)
{
    if (!block.bHasSets || EqualNoCase(words.sSet, "Current")) return {ParamSet::Current};
    if (EqualNoCase(words.sSet, "Default")) return {ParamSet::Default};
    return {ParamSet::Current, ParamSet::Default};
}

static void Show(const ParamWords& words)
{
    CheckRegistry();
    Json json;
    json.BeginArray();
    bool bFirst = true, bMarked = false;
    for (const ParamBlock& block : ParamBlocks())
    {
        if (!words.sBlock.empty() && !EqualNoCase(words.sBlock, block.pWord)) continue;
        for (ParamSet eSet : SetsOf(words, block))
        {
            if (words.bJson)
            {
                AddBlock(json, block, eSet);
                continue;
            }
            if (!bFirst) Print({});
            bFirst = false;
            bMarked = PrintBlock(block, eSet) || bMarked;
        }
    }
    json.End();
    if (words.bJson) Print(json.Document());
    else if (bMarked) PrintMark();
}

// ---- get, set

static ParamSet OneSet(const ParamWords& words) { return EqualNoCase(words.sSet, "Default") ? ParamSet::Default : ParamSet::Current; }

static void Get(const ParamWords& words)
{
    const ParamRow& row = FindParam(words.words);
    const ParamSet eSet = OneSet(words);
    CheckRegistry();
    const ParamValue value = ReadParam(row, eSet);
    if (value.ulError) throw Stop(kFailure, value.sText);
    if (words.bJson)
    {
        Json json;
        json.BeginObject();
        AddJson(json, row, value);
        json.End();
        return Print(json.Document());
    }
    Print(value.sText);
    if (value.bOtherType) Note("what is stored for " + ParamTitle(row) + " is no text and does not count: this is the default");
    else if (!value.bStored) Note("nothing is stored for " + ParamTitle(row) + ": this is the default");
}

static void Set(const ParamWords& words)
{
    std::vector<std::string> names = words.words;
    const std::string sValue = names.back();
    names.pop_back();
    const ParamRow& row = FindParam(names);
    CheckRegistry();
    WriteParam(row, OneSet(words), sValue);
}

// ---- the words

void AddParamsCommands(CLI::App& app)
{
    static ParamWords words;
    CLI::App* pParams = app.add_subcommand("params", "Show and change the instrument's parameters");
    pParams->require_subcommand(1);

    std::vector<std::string> blocks;
    for (const ParamBlock& block : ParamBlocks()) blocks.push_back(block.pWord);
    const std::string sSetHelp = "the torch's set: Current, the working set, or Default, the factory's";

    CLI::App* pShow = pParams->add_subcommand("show", "Print parameters as tables; all blocks when no BLOCK is given");
    pShow->add_option("BLOCK", words.sBlock)->check(CLI::IsMember(blocks, CLI::ignore_case));
    pShow->add_option("--set,-s", words.sSet, sSetHelp + "; both")
        ->capture_default_str()
        ->check(CLI::IsMember({"Current", "Default", "both"}, CLI::ignore_case));
    pShow->add_flag("--json", words.bJson, "as JSON");
    pShow->callback([] { Show(words); });

    const auto CheckSet = CLI::IsMember({"Current", "Default"}, CLI::ignore_case);
    CLI::App* pGet = pParams->add_subcommand("get", "Print one parameter, such as: torch run PlasmaFlow");
    pGet->add_option("PARAMETER", words.words, "the block, the phase where it has phases, and the value's name")
        ->option_text("BLOCK [PHASE] NAME")
        ->required()
        ->expected(2, 3);
    pGet->add_option("--set,-s", words.sSet, sSetHelp)->capture_default_str()->check(CheckSet);
    pGet->add_flag("--json", words.bJson, "as JSON");
    pGet->callback([] { Get(words); });

    CLI::App* pSet = pParams->add_subcommand("set", "Change one parameter, such as: torch purge Power 1.25 --set Default");
    pSet->add_option("PARAMETER", words.words, "as for get, and the new value behind it; a number has a decimal point")
        ->option_text("BLOCK [PHASE] NAME VALUE")
        ->required()
        ->expected(3, 4);
    pSet->add_option("--set,-s", words.sSet, sSetHelp)->capture_default_str()->check(CheckSet);
    pSet->footer("The torch, simulator and sequencer blocks write numbers with two decimals. The model and simulator classes have\n"
                 "no setters of their own: their values are written with the library's checked registry writes. The pump rates are\n"
                 "read-only by design. A missing key is never created: import a .reg file for that, such as examples/cedar.reg.");
    pSet->callback([] { Set(words); });
}
} // namespace tool
