// Message boxes: one way in, a hook for programs that show notices themselves, and the default places.
#include "Messages.h"

#include "Error.h"
#include "Paths.h"
#include "Platform.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{
std::atomic<LumMessageHook> gpHook{nullptr};

std::string OnOneLine(const char* pText)
{
    std::string sLine;
    for (; *pText; ++pText)
    {
        if (*pText == '\n') sLine += "\\n";
        else if (*pText == '\r') sLine += "\\r";
        else sLine += *pText;
    }
    return sLine;
}

// One write for the whole line, so that lines of several processes do not mix.
bool WriteLine(int fd, const char* pText, const char* pCaption)
{
    const std::string sLine = "[" + OnOneLine(pCaption) + "] " + OnOneLine(pText) + "\n";
    ssize_t lWritten;
    do lWritten = write(fd, sLine.data(), sLine.size());
    while (lWritten < 0 && errno == EINTR);
    return lWritten == static_cast<ssize_t>(sLine.size());
}

bool AppendToFile(const char* pPath, const char* pText, const char* pCaption)
{
    const int fd = open(pPath, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    const bool bWritten = WriteLine(fd, pText, pCaption);
    close(fd);
    return bWritten;
}

// Runs a dialog program and waits for it; false unless it ended well.
bool RunDialog(const std::vector<std::string>& arguments)
{
    std::vector<char*> argv;
    for (const std::string& sArgument : arguments) argv.push_back(const_cast<char*>(sArgument.c_str()));
    argv.push_back(nullptr);

    pid_t child = 0;
    if (posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return false;
    int iStatus = 0;
    while (waitpid(child, &iStatus, 0) < 0)
        if (errno != EINTR) return errno == ECHILD; // the program ignores its children: the dialog's end is all we know
    return WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0;
}

bool ShowDialog(const char* pText, const char* pCaption)
{
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) return false;

    const std::string sText = *pText == '-' ? std::string(" ") + pText : pText; // not to be taken for an option
    return RunDialog({"zenity", "--info", "--no-markup", std::string("--title=") + pCaption, "--text=" + sText}) ||
           RunDialog({"kdialog", "--title", pCaption, "--msgbox", sText}) ||
           RunDialog({"xmessage", "-center", "-title", pCaption, sText});
}

bool ShowWhereAsked(const char* pText, const char* pCaption)
{
    constexpr char kFile[] = "file:";
    const char* pWhere = std::getenv("LUMBASE_MESSAGES");
    if (!pWhere) return false;
    if (std::strncmp(pWhere, kFile, sizeof kFile - 1) == 0) return AppendToFile(pWhere + sizeof kFile - 1, pText, pCaption);
    if (std::strcmp(pWhere, "desktop") == 0) return ShowDialog(pText, pCaption);
    return false;
}
} // namespace

void LumSetMessageHook(LumMessageHook pHook) { gpHook = pHook; }

int LumMessageBox(const char* pText, const char* pCaption)
{
    if (LumMessageHook pHook = gpHook) return pHook(pText, pCaption);
    return MessageBoxA(nullptr, pText, pCaption, MB_OK);
}

int MessageBoxA(HWND, LPCSTR pText, LPCSTR pCaption, UINT)
{
    const DWORD ulLastError = GetLastError();
    const int iErrno = errno;
    const std::string sText = lum::NarrowToSystem(pText ? pText : "");
    const std::string sCaption = lum::NarrowToSystem(pCaption ? pCaption : "Error");
    if (!ShowWhereAsked(sText.c_str(), sCaption.c_str())) WriteLine(STDERR_FILENO, sText.c_str(), sCaption.c_str());
    errno = iErrno;
    SetLastError(ulLastError);
    return IDOK;
}
