// The reader of log lines, given any bytes at all: its texts lie within the line, an entry can be put together again, and the
// quick look never rules out what the reader would call an error or a banner.
#include "LogLine.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{
using namespace tool;

bool IsWithin(std::string_view sPart, std::string_view sLine)
{
    return sPart.empty() || (sPart.data() >= sLine.data() && sPart.data() + sPart.size() <= sLine.data() + sLine.size());
}

std::string Rebuilt(const LogLine& line)
{
    char aTime[64];
    std::snprintf(aTime, sizeof aTime, "%8llu.%03llu", static_cast<unsigned long long>(line.ullMilliseconds / 1000),
                  static_cast<unsigned long long>(line.ullMilliseconds % 1000));
    std::string sLine(aTime);
    for (std::string_view sPart : {line.sGroup, line.sClass, line.sItem, line.sText}) sLine.append(" : ").append(sPart);
    return sLine;
}

// Leading zeros, which the format does not write but the reader lets pass, are all that may differ.
bool IsRebuilt(const LogLine& line, std::string_view sLine)
{
    const std::string sBack = Rebuilt(line);
    return std::string_view(sBack).substr(sBack.find('.')) == sLine.substr(sLine.find('.'));
}

void Require(bool b)
{
    if (!b) std::abort();
}

void Check(std::string_view sLine)
{
    const LogLine line = ParseLogLine(sLine);
    for (std::string_view sPart : {line.sGroup, line.sClass, line.sItem, line.sText, line.sTime}) Require(IsWithin(sPart, sLine));
    if (line.eKind == LogLine::Kind::Entry)
    {
        Require(!line.sGroup.empty() && !line.sClass.empty() && !line.sItem.empty());
        Require(IsRebuilt(line, sLine));
    }
    const bool bBanner = line.eKind == LogLine::Kind::Started || line.eKind == LogLine::Kind::Ended;
    if (IsNoError(sLine)) Require(!IsError(line) && !bBanner);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    std::string_view sRest(reinterpret_cast<const char*>(pData), uSize);
    for (;;)
    {
        const size_t uEnd = sRest.find('\n');
        Check(sRest.substr(0, uEnd));
        if (uEnd == sRest.npos) return 0;
        sRest.remove_prefix(uEnd + 1);
    }
}
