#include "Console.h"

#include "Platform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace tool
{
std::string SystemText(unsigned int uError)
{
    char aText[512] = "";
    const DWORD ulChars = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, uError, 0, aText,
                                         sizeof aText, nullptr);
    std::string sText(aText, ulChars);
    while (!sText.empty() && (sText.back() == '\n' || sText.back() == '\r' || sText.back() == ' ')) sText.pop_back();
    const std::string sNumber = Format(uError < 0x80000000u ? "%u" : "0x%08X", uError);
    return sText.empty() ? "error " + sNumber : sText + " (" + sNumber + ")";
}

std::string Format(const char* pFormat, ...)
{
    va_list args, again;
    va_start(args, pFormat);
    va_copy(again, args);
    std::string sText(static_cast<size_t>(std::vsnprintf(nullptr, 0, pFormat, args)), '\0');
    std::vsnprintf(sText.data(), sText.size() + 1, pFormat, again);
    va_end(again);
    va_end(args);
    return sText;
}

void Print(std::string_view sText)
{
    if (!sText.empty()) std::fwrite(sText.data(), 1, sText.size(), stdout); // an empty view may have no address
    std::fputc('\n', stdout);
}

void Note(std::string_view sText)
{
    std::fflush(stdout); // what was printed before stands before, when both go to one place
    std::fprintf(stderr, "lum: %.*s\n", static_cast<int>(sText.size()), sText.data());
}

std::string Inked(Ink eInk, std::string_view sText)
{
    static const bool bColour = LumIsTerminal(stdout) && !std::getenv("NO_COLOR");
    if (!bColour) return std::string(sText);
    static constexpr const char* kCodes[] = {"\x1b[1m", "\x1b[2m", "\x1b[32m", "\x1b[31m", "\x1b[33m"};
    return std::string(kCodes[static_cast<size_t>(eInk)]).append(sText).append("\x1b[0m");
}

Progress::Progress(std::string sWhat, size_t uTotal)
    : msWhat(std::move(sWhat)), muTotal(uTotal), mbTerminal(LumIsTerminal(stderr))
{
}

void Progress::At(size_t uDone)
{
    const int iPercent = muTotal ? static_cast<int>(uDone * 100 / muTotal) : 100;
    if (!mbTerminal || iPercent == miShown) return;
    miShown = iPercent;
    std::fprintf(stderr, "\r%s: %d %%", msWhat.c_str(), iPercent);
    std::fflush(stderr);
}

Progress::~Progress()
{
    if (mbTerminal && miShown >= 0) std::fprintf(stderr, "\r%*s\r", static_cast<int>(msWhat.size() + 8), "");
}
} // namespace tool
