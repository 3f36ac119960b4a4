// A data file's CRC, as lum crc has it: what is to be said about one file.
#pragma once

#include "Console.h"

#include <optional>
#include <string>

namespace tool
{
struct CrcAnswer
{
    ExitStatus eStatus;
    const char* pResult; // one of a few words, for programs
    std::string sText;   // for people, on one line, with the file's name
};

// A long file shows its progress on a terminal. None throws: what fails is an answer, too.
CrcAnswer AppendCrc(const std::string& sPath);
CrcAnswer CheckCrc(const std::string& sPath);
// Cuts off a trailer that matches; bForce: the last two bytes, whatever they are.
CrcAnswer UndoCrc(const std::string& sPath, bool bForce);
} // namespace tool
