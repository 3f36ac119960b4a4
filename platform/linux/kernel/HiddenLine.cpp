// A line typed at the terminal, which does not show it.
#include "PlatformPrivate.h"

#include "Errno.h"

#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iterator>

namespace lum
{
namespace
{
volatile sig_atomic_t giSignal = 0;

// While it lives, what would end or stop the program waits, and ends the reading alone.
class SignalsWait
{
public:
    SignalsWait()
    {
        giSignal = 0;
        struct sigaction note = {};
        note.sa_handler = [](int iSignal) { giSignal = iSignal; };
        sigset_t held;
        sigemptyset(&held);
        for (const int iSignal : kaiSignals) sigaddset(&held, iSignal);
        pthread_sigmask(SIG_BLOCK, &held, &mMask);
        for (size_t i = 0; i < kuSignals; ++i)
        {
            sigaction(kaiSignals[i], nullptr, &maBefore[i]);
            if (maBefore[i].sa_handler != SIG_IGN) sigaction(kaiSignals[i], &note, nullptr);
        }
    }
    ~SignalsWait()
    {
        for (size_t i = 0; i < kuSignals; ++i) sigaction(kaiSignals[i], &maBefore[i], nullptr);
        pthread_sigmask(SIG_SETMASK, &mMask, nullptr);
    }
    // NO_ERROR when there is something to read.
    DWORD ForInput() const
    {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        return ppoll(&input, 1, nullptr, &mMask) > 0 ? NO_ERROR : ErrorFromErrno(errno); // the one moment for signals
    }
    SignalsWait(const SignalsWait&) = delete;
    SignalsWait& operator=(const SignalsWait&) = delete;

private:
    static constexpr int kaiSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
    static constexpr size_t kuSignals = std::size(kaiSignals);
    struct sigaction maBefore[kuSignals];
    sigset_t mMask;
};

class EchoOff
{
public:
    EchoOff()
    {
        mbDone = tcgetattr(STDIN_FILENO, &mBefore) == 0;
        termios hidden = mBefore;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
        hidden.c_lflag |= ICANON;
        mbDone = mbDone && tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden) == 0;
    }
    ~EchoOff()
    {
        if (mbDone) tcsetattr(STDIN_FILENO, TCSAFLUSH, &mBefore);
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;
    explicit operator bool() const { return mbDone; }

private:
    termios mBefore{};
    bool mbDone;
};

// Up to the line's end, which is not kept; the zero is.
DWORD ReadLine(const SignalsWait& wait, char* pOut, DWORD ulRoom)
{
    for (DWORD ulUsed = 0;;)
    {
        char c = 0;
        if (const DWORD ulError = wait.ForInput()) return ulError;
        const ssize_t lRead = read(STDIN_FILENO, &c, 1);
        if (lRead < 0) return ErrorFromErrno(errno);
        if (lRead == 0) return ERROR_HANDLE_EOF;
        if (c == '\n' && ulUsed >= ulRoom) return ERROR_INSUFFICIENT_BUFFER;
        if (ulUsed < ulRoom) pOut[ulUsed] = c == '\n' ? 0 : c;
        if (c == '\n') return NO_ERROR;
        ++ulUsed;
    }
}

DWORD ReadUnseen(const char* pQuestion, char* pOut, DWORD ulRoom)
{
    const SignalsWait wait;
    const EchoOff off;
    if (!off) return ERROR_INVALID_HANDLE;
    std::fputs(pQuestion, stderr); // not before: what is typed too early is thrown away
    const DWORD ulError = ReadLine(wait, pOut, ulRoom);
    std::fputc('\n', stderr); // the one that was not shown
    return ulError;
}
} // namespace
} // namespace lum

BOOL LumReadHidden(const char* pQuestion, char* pOut, DWORD ulRoom)
{
    for (;;)
    {
        const DWORD ulError = lum::ReadUnseen(pQuestion, pOut, ulRoom);
        if (ulError) SecureZeroMemory(pOut, ulRoom);
        if (!lum::giSignal) return ulError ? lum::Fail(ulError) : TRUE;
        raise(lum::giSignal); // with the terminal as it was; whoever stopped it and goes on is asked anew
    }
}
