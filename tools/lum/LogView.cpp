#include "LogView.h"

#include "Json.h"
#include "Text.h"

#include <algorithm>
#include <cstdio>

namespace tool
{
static constexpr size_t kuMostWidth = 28;         // a longer name moves its own row alone
static constexpr size_t kuMostMore = 1024 * 1024; // bytes by which a text may go on; what is beyond stands for itself

static bool IsAny(const std::vector<std::string>& names, std::string_view sName)
{
    return names.empty() || std::ranges::any_of(names, [&](const std::string& s) { return EqualNoCase(s, sName); });
}

static std::string Seconds(std::uint64_t ullMilliseconds)
{
    return Format("%llu.%03llu", static_cast<unsigned long long>(ullMilliseconds / 1000),
                  static_cast<unsigned long long>(ullMilliseconds % 1000));
}

// ---- which lines

bool LogView::Wants(const LogLine& line) const
{
    using enum LogLine::Kind;
    if (line.eKind == Other) return mbShowing;
    if (mQuestion.bErrors && !IsError(line)) return false;
    if (!IsAny(mQuestion.groups, line.eKind == ErrorCopy ? "Error" : line.sGroup) || !IsAny(mQuestion.classes, line.sClass)) return false;
    if (!mQuestion.fSince) return true;
    return line.eKind == Entry && static_cast<double>(line.ullMilliseconds) >= *mQuestion.fSince * 1000;
}

bool LogView::Lines(std::string_view sLines)
{
    while (!sLines.empty() && !mbEnough)
    {
        const size_t uEnd = std::min(sLines.find('\n'), sLines.size());
        const std::string_view sLine = sLines.substr(0, uEnd);
        sLines.remove_prefix(std::min(uEnd + 1, sLines.size()));
        // Most lines of a log are none of the errors that are looked for, and are told by a few bytes.
        if (!mQuestion.bErrors || mbShowing || !IsNoError(sLine)) Line(sLine);
    }
    if (std::ferror(stdout)) throw Stop(kFailure, "writing the output failed: look at where it goes");
    return !mbEnough;
}

void LogView::Line(std::string_view sLine)
{
    using enum LogLine::Kind;
    if (sLine.ends_with('\r')) sLine.remove_suffix(1);
    const LogLine line = ParseLogLine(sLine);
    mbEnough = line.eKind != Other && HasEnough(); // not before: the text of the last one may go on
    if (mbEnough) return;
    if (line.eKind == Started || line.eKind == Ended) return Banner(line);
    const bool bShown = Wants(line);
    if (line.eKind != Other) mbShowing = bShown;
    if (!bShown) return;

    Heading();
    if (line.eKind == Other) return ShowMore(sLine);
    ++muShown;
    if (mbJson) Hold(sLine);
    else Show(line);
}

// ---- in columns

void LogView::Banner(const LogLine& line)
{
    if (mbJson) Finish();
    mbShowing = mQuestion.IsForAll();
    muIndent = 0;
    if (line.eKind == LogLine::Kind::Started)
    {
        const auto& au = line.auStart;
        msRun = Format("%04u-%02u-%02u %02u:%02u", au[0], au[1], au[2], au[3], au[4]);
        mbNewRun = true;
    }
    if (!mbShowing || mbJson) return;
    Heading();
    if (line.eKind == LogLine::Kind::Ended) Print(Inked(Ink::Faint, "Run ended"));
}

// The start of the run, above the first of its lines that is shown.
void LogView::Heading()
{
    if (mbNewRun && !mbJson) Print((mbHasShownAny ? "\n" : "") + Inked(Ink::Bold, "Run started " + msRun));
    mbNewRun = false;
    mbHasShownAny = true;
}

// Columns count characters, which are more bytes than one where the code page is UTF-8.
static size_t Width(const std::string& sVisible)
{
    if (std::ranges::all_of(sVisible, [](char c) { return c > 0; })) return sVisible.size();
    const auto sWide = Wide(sVisible);
    return sWide ? sWide->size() : sVisible.size();
}

void LogView::Column::Add(std::string& sRow, std::string_view sName, std::optional<Ink> eInk)
{
    const std::string sShown = Visible(sName);
    const size_t uName = Width(sShown);
    uWidth = std::max(uWidth, std::min(uName, kuMostWidth));
    sRow += eInk ? Inked(*eInk, sShown) : sShown;
    sRow.append(uWidth > uName ? uWidth - uName : 0, ' ').append("  ");
}

static std::optional<Ink> InkOf(std::string_view sGroup)
{
    if (!IsErrorGroup(sGroup)) return std::nullopt;
    return sGroup == "Warning" ? Ink::Yellow : Ink::Red;
}

void LogView::Show(const LogLine& line)
{
    using enum LogLine::Kind;
    muIndent = 0;
    if (line.eKind == Trouble) return Print(Inked(Ink::Red, Visible(line.sText)));
    if (line.eKind == ErrorCopy) return Print(Inked(Ink::Faint, Visible(line.sTime)) + "  " + Visible(line.sText));

    const std::string sTime = Seconds(line.ullMilliseconds);
    std::string sRow(sTime.size() < 12 ? 12 - sTime.size() : 0, ' ');
    sRow += Inked(Ink::Faint, sTime) + "  ";
    mGroup.Add(sRow, line.sGroup, InkOf(line.sGroup));
    mClass.Add(sRow, line.sClass);
    mItem.Add(sRow, line.sItem);
    muIndent = 12 + mGroup.uWidth + mClass.uWidth + mItem.uWidth + 8;
    Print(sRow + Visible(line.sText));
}

void LogView::ShowMore(std::string_view sLine)
{
    if (!mbJson) Print(std::string(muIndent, ' ') + Visible(sLine));
    else if (msHeld && msMore.size() < kuMostMore) msMore.append(1, '\n').append(sLine);
    else Hold(sLine);
}

// ---- as JSON

void LogView::Hold(std::string_view sLine)
{
    Finish();
    msHeld = sLine;
}

void LogView::Finish()
{
    if (!msHeld) return;
    const LogLine line = ParseLogLine(*msHeld);
    Json json(Json::Shape::OneLine);
    json.BeginObject();
    if (!msRun.empty()) json.Text("run", msRun);
    if (!line.sTime.empty()) json.Text("occurred", Utf8(line.sTime));
    if (line.eKind == LogLine::Kind::Entry)
    {
        json.Raw("seconds", Seconds(line.ullMilliseconds));
        json.Text("group", Utf8(line.sGroup)).Text("class", Utf8(line.sClass)).Text("item", Utf8(line.sItem));
    }
    json.Text("text", Utf8(std::string(line.sText) + msMore)).End();
    Print(json.Document());
    msHeld.reset();
    msMore.clear();
}
} // namespace tool
