#include "ParamShow.h"

#include "Console.h"
#include "ParamValue.h"
#include "Text.h"

#include <vector>

namespace tool
{
static std::vector<const ParamRow*> RowsOf(const ParamBlock& block)
{
    std::vector<const ParamRow*> rows;
    for (const ParamRow& row : ParamRows())
        if (EqualNoCase(row.pBlock, block.pWord)) rows.push_back(&row);
    return rows;
}

static bool IsDefault(const ParamValue& value) { return !value.bStored && !value.ulError; }

// The number of an error stands for its text: lum message prints that.
static std::string Shown(const ParamValue& value)
{
    return value.ulError ? "error " + std::to_string(value.ulError) : Visible(value.sText);
}

static const char* SetName(ParamSet eSet) { return eSet == ParamSet::Current ? "Current" : "Default"; }

// One column for each phase; a value that stands in no phase has a line of its own.
static void PrintPhases(const std::vector<const ParamRow*>& rows, ParamSet eSet, bool& bMarked)
{
    constexpr int iNameWidth = 20, iWidth = 11;
    std::string sHead(iNameWidth, ' ');
    for (const char* pPhase : kpPhases) sHead += Format("%*s ", iWidth - 1, pPhase); // a blank where a '*' may stand
    sHead.pop_back();
    Print("  " + Inked(Ink::Faint, sHead));

    const auto Cell = [&](const ParamRow& row) {
        const ParamValue value = ReadParam(row, eSet);
        bMarked = bMarked || IsDefault(value);
        return Format("%*s%s", iWidth - 1, Shown(value).c_str(), IsDefault(value) ? "*" : " ");
    };
    for (const ParamRow* pRow : rows)
    {
        if (pRow->pPhase && pRow->pPhase != std::string_view(kpPhases[0])) continue;
        std::string sLine = Format("%-*s", iNameWidth, pRow->pName);
        for (const ParamRow* pOther : rows)
            if (std::string_view(pOther->pName) == pRow->pName) sLine += Cell(*pOther);
        if (sLine.back() == ' ') sLine.pop_back();
        Print("  " + sLine);
    }
}

static void PrintLines(const std::vector<const ParamRow*>& rows, bool& bMarked)
{
    for (const ParamRow* pRow : rows)
    {
        const ParamValue value = ReadParam(*pRow, ParamSet::Current);
        bMarked = bMarked || IsDefault(value);
        std::string sLine = Format("%-20s%s%s", pRow->pName, Shown(value).c_str(), IsDefault(value) ? "*" : "");
        if (!value.sAnswer.empty()) sLine = Format("%-44s", sLine.c_str()) + Inked(Ink::Faint, value.sAnswer);
        Print("  " + sLine);
    }
}

bool PrintBlock(const ParamBlock& block, ParamSet eSet)
{
    const auto rows = RowsOf(block);
    const std::string sKey = block.bHasSets ? std::string(block.pKey) + "\\" + SetName(eSet) : block.pKey;
    std::string sTitle = Inked(Ink::Bold, block.pTitle);
    if (block.bHasSets) sTitle += std::string(", set ") + SetName(eSet);
    Print(sTitle + "   " + Inked(Ink::Faint, FullParamKey(sKey) + (ParamKeyExists(sKey) ? "" : " (missing)")));
    bool bMarked = false;
    if (block.bHasSets) PrintPhases(rows, eSet, bMarked);
    else PrintLines(rows, bMarked);
    return bMarked;
}

void PrintMark() { Print("\n" + Inked(Ink::Faint, "* nothing usable is stored: a client gets this default")); }

void AddBlock(Json& json, const ParamBlock& block, ParamSet eSet)
{
    json.BeginObject().Text("block", block.pWord);
    if (block.bHasSets) json.Text("set", SetName(eSet));
    json.BeginArray("values");
    for (const ParamRow* pRow : RowsOf(block))
    {
        json.BeginObject();
        AddJson(json, *pRow, ReadParam(*pRow, eSet));
        json.End();
    }
    json.End().End();
}
} // namespace tool
