#include "LogLine.h"

#include <algorithm>
#include <charconv>

namespace tool
{
static constexpr std::string_view ksBetween = " : ";
static constexpr std::string_view ksStarted = " Application Started [";
static constexpr std::string_view ksEnded = " Application Terminated ";
static constexpr std::string_view ksErrorCopy = " . Error Occurred at ";
static constexpr std::string_view ksTrouble = "ODbgManager::Writeln : ";
static constexpr size_t kuTimeWidth = 12;      // of the seconds, blanks in front; more when there are more digits
static constexpr size_t kuMostTimeWidth = 19;  // so that the milliseconds fit 64 bits
static constexpr size_t kuErrorTimeWidth = 21; // 15-Nov-05 01:02:03 PM

static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The bytes in which lines of the usual width agree: "       1.500 : G".
static bool HasEntryShape(std::string_view sLine)
{
    return sLine.size() > kuTimeWidth + ksBetween.size() && sLine[12] == ' ' && sLine[13] == ':' && sLine[14] == ' ' &&
           sLine[8] == '.' && IsDigit(sLine[7]) && IsDigit(sLine[9]) && IsDigit(sLine[10]) && IsDigit(sLine[11]);
}

static bool ParseSeconds(std::string_view sTime, std::uint64_t& ullMilliseconds)
{
    if (sTime.size() < kuTimeWidth || sTime.size() > kuMostTimeWidth) return false;
    const size_t uBlanks = sTime.find_first_not_of(' ');
    if (uBlanks != 0 && sTime.size() != kuTimeWidth) return false;
    const size_t uPoint = sTime.size() - 4;
    if (uBlanks >= uPoint || sTime[uPoint] != '.') return false;

    ullMilliseconds = 0;
    for (size_t u = uBlanks; u < sTime.size(); ++u)
    {
        if (u == uPoint) continue;
        if (!IsDigit(sTime[u])) return false;
        ullMilliseconds = ullMilliseconds * 10 + static_cast<unsigned>(sTime[u] - '0');
    }
    return true;
}

// Cuts what stands before the next " : " off sRest; false when there is none, or nothing before it.
static bool CutName(std::string_view& sRest, std::string_view& sName)
{
    const size_t uEnd = sRest.find(ksBetween);
    if (uEnd == sRest.npos || uEnd == 0) return false;
    sName = sRest.substr(0, uEnd);
    sRest.remove_prefix(uEnd + ksBetween.size());
    return true;
}

static bool ParseEntry(std::string_view sLine, LogLine& line)
{
    std::string_view sRest = sLine, sTime;
    if (!CutName(sRest, sTime) || !ParseSeconds(sTime, line.ullMilliseconds)) return false;
    if (!CutName(sRest, line.sGroup) || !CutName(sRest, line.sClass) || !CutName(sRest, line.sItem)) return false;
    line.sText = sRest;
    return true;
}

static bool ParseErrorCopy(std::string_view sLine, LogLine& line)
{
    constexpr size_t kuTail = ksErrorCopy.size() + kuErrorTimeWidth;
    if (sLine.size() < kuTail || HasEntryShape(sLine)) return false;
    const size_t uText = sLine.size() - kuTail;
    if (sLine.substr(uText, ksErrorCopy.size()) != ksErrorCopy) return false;
    line.sText = sLine.substr(0, uText);
    line.sTime = sLine.substr(uText + ksErrorCopy.size());
    return true;
}

static bool ParseStarted(std::string_view sBanner, LogLine& line)
{
    if (!sBanner.starts_with(ksStarted)) return false;
    const char* pNext = sBanner.data() + ksStarted.size();
    const char* const pEnd = sBanner.data() + sBanner.size();
    for (size_t u = 0; u < line.auStart.size(); ++u)
    {
        const char* const pBetween = u == 3 ? "  " : ":"; // 2005:11:15  13:02
        for (const char* p = pBetween; u != 0 && *p; ++p)
            if (pNext == pEnd || *pNext++ != *p) return false;
        const auto [pDigitsEnd, eError] = std::from_chars(pNext, pEnd, line.auStart[u]);
        if (eError != std::errc()) return false;
        pNext = pDigitsEnd;
    }
    return pNext != pEnd && *pNext == ']';
}

LogLine ParseLogLine(std::string_view sLine)
{
    LogLine line;
    if (ParseEntry(sLine, line))
    {
        line.eKind = LogLine::Kind::Entry;
        return line;
    }
    line = LogLine();
    line.sText = sLine;
    const std::string_view sBanner = sLine.substr(std::min(sLine.find_first_not_of('*'), sLine.size()));
    const bool bStars = sBanner.size() < sLine.size();
    if (bStars && ParseStarted(sBanner, line)) line.eKind = LogLine::Kind::Started;
    else if (bStars && sBanner.starts_with(ksEnded)) line.eKind = LogLine::Kind::Ended;
    else if (sLine.starts_with(ksTrouble)) line.eKind = LogLine::Kind::Trouble;
    else if (ParseErrorCopy(sLine, line)) line.eKind = LogLine::Kind::ErrorCopy;
    return line;
}

bool IsErrorGroup(std::string_view sGroup) { return sGroup == "Error" || sGroup == "Warning" || sGroup.starts_with("Exception"); }

bool IsError(const LogLine& line)
{
    if (line.eKind == LogLine::Kind::Entry) return IsErrorGroup(line.sGroup);
    return line.eKind == LogLine::Kind::ErrorCopy || line.eKind == LogLine::Kind::Trouble;
}

bool IsNoError(std::string_view sLine)
{
    return HasEntryShape(sLine) && sLine[15] != 'E' && sLine[15] != 'W' && sLine[0] != '*' && sLine[0] != 'O';
}
} // namespace tool
