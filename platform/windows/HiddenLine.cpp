// A line typed at the terminal, which does not show it.
#include "PlatformPrivate.h"

#include <cstdio>

namespace
{
// The console shows what is typed again when this ends, and when Ctrl-C ends the program.
class EchoOff
{
public:
    explicit EchoOff(HANDLE hConsole)
    {
        if (!GetConsoleMode(hConsole, &gulBefore)) return;
        ghConsole = hConsole;
        SetConsoleCtrlHandler(Interrupted, TRUE);
        mbDone = SetConsoleMode(hConsole, (gulBefore | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT) & ~ENABLE_ECHO_INPUT);
    }
    ~EchoOff()
    {
        if (!ghConsole) return;
        Interrupted(0);
        SetConsoleCtrlHandler(Interrupted, FALSE);
        ghConsole = nullptr;
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;
    explicit operator bool() const { return mbDone; }

private:
    static BOOL WINAPI Interrupted(DWORD)
    {
        SetConsoleMode(ghConsole, gulBefore);
        return FALSE;
    }

    static inline HANDLE ghConsole = nullptr;
    static inline DWORD gulBefore = 0;
    bool mbDone = false;
};

// A line in the console's 16-bit units, gone from memory afterwards.
struct ConsoleLine
{
    WCHAR awcText[4096];
    DWORD ulUnits = 0;
    ~ConsoleLine() { SecureZeroMemory(this, sizeof *this); }
};

DWORD ReadLine(HANDLE hConsole, char* pOut, DWORD ulRoom)
{
    ConsoleLine line;
    if (!ReadConsoleW(hConsole, line.awcText, sizeof line.awcText / sizeof(WCHAR), &line.ulUnits, nullptr)) return GetLastError();
    if (line.ulUnits == 0) return ERROR_HANDLE_EOF;
    if (line.awcText[line.ulUnits - 1] != L'\n') return ERROR_INSUFFICIENT_BUFFER;
    while (line.ulUnits && (line.awcText[line.ulUnits - 1] == L'\n' || line.awcText[line.ulUnits - 1] == L'\r')) --line.ulUnits;
    line.awcText[line.ulUnits] = 0;
    // A secret with a question mark or a look-alike in it would be another one. UTF-8 has all, and takes no such arguments.
    const bool bHasAll = GetACP() == CP_UTF8;
    BOOL bReplaced = FALSE;
    const int iBytes = WideCharToMultiByte(CP_ACP, bHasAll ? 0 : WC_NO_BEST_FIT_CHARS, line.awcText, -1, pOut,
                                           static_cast<int>(ulRoom), nullptr, bHasAll ? nullptr : &bReplaced);
    return !iBytes ? GetLastError() : bReplaced ? static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION) : NO_ERROR;
}
} // namespace

BOOL LumReadHidden(const char* pQuestion, char* pOut, DWORD ulRoom)
{
    const HANDLE hConsole = GetStdHandle(STD_INPUT_HANDLE);
    DWORD ulError = ERROR_INVALID_HANDLE;
    if (const EchoOff off(hConsole); off)
    {
        std::fputs(pQuestion, stderr);
        ulError = ReadLine(hConsole, pOut, ulRoom);
        std::fputc('\n', stderr); // the one that was not shown
    }
    if (ulError == NO_ERROR) return TRUE;
    SecureZeroMemory(pOut, ulRoom);
    SetLastError(ulError);
    return FALSE;
}
