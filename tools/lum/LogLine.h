// One line of a log file that the library's log manager wrote (docs/format_log.md).
//
//  * Takes any bytes: what is no line of the format is Kind::Other.    * The texts are views into the line.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace tool
{
struct LogLine
{
    enum class Kind
    {
        Entry,     // one line that a program logged
        ErrorCopy, // its copy in the error file
        Trouble,   // the manager's own note on an entry that it could not write
        Started,   // a program began to log
        Ended,     // it stopped
        Other,     // anything else; behind an entry: the next line of its text
    };
    Kind eKind = Kind::Other;
    std::string_view sGroup, sClass, sItem; // Entry, none of them empty
    std::string_view sText;                 // Entry and ErrorCopy: what was logged; else the whole line
    std::string_view sTime;                 // ErrorCopy: when, in the words of the file
    std::uint64_t ullMilliseconds = 0;      // Entry: since the program began to log
    std::array<unsigned, 5> auStart{};      // Started: year, month, day, hour, minute
};

// ParseLogLine: of a line without its end.
LogLine ParseLogLine(std::string_view sLine);

// IsErrorGroup: "Error", "Warning" and all that begin with "Exception": what errors-only mode lets through, but for "Debug".
bool IsErrorGroup(std::string_view sGroup);

// IsError: entries of those groups, ErrorCopy and Trouble.
bool IsError(const LogLine& line);

// IsNoError: a quick look that rules most lines out: true only for a line that is no error and begins or ends no run.
bool IsNoError(std::string_view sLine);
} // namespace tool
