// The lines of a .reg file as 16-bit text, whatever the file is coded in.
#pragma once

#include <string>
#include <string_view>

namespace tool
{
class RegFileLines
{
public:
    explicit RegFileLines(std::string_view sBytes); // throws RegFileError

    // Next: moves on to the next line, without its end and without blanks around it; false at the end of the file.
    // The text of a line lasts until the next call. Throws RegFileError.
    bool Next();
    std::u16string_view Line() const { return msLine; }
    size_t Number() const { return muNumber; }

private:
    enum class Coding { Utf16, Utf8, CodePage };

    bool NextUtf16();
    bool NextBytes();
    void Use(std::u16string_view sLine);

    Coding meCoding = Coding::CodePage;
    std::string_view msBytes; // 8-bit codings: what is still to be read
    std::u16string msUnits;   // UTF-16: the whole file
    size_t muNextUnit = 0;
    std::u16string msDecoded; // 8-bit codings: the current line
    std::u16string_view msLine;
    size_t muNumber = 0;
};
} // namespace tool
