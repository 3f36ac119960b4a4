#include "PathCalls.h"

#include "Errno.h"
#include "Paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace
{
// The convention of these calls: the length when it fits, else the room that it takes.
DWORD Give(const std::string& sText, DWORD ulRoom, LPSTR pOut)
{
    if (sText.size() >= ulRoom || !pOut) return static_cast<DWORD>(sText.size() + 1);
    std::memcpy(pOut, sText.c_str(), sText.size() + 1);
    return static_cast<DWORD>(sText.size());
}

bool WorkingDirectory(std::string& sPath)
{
    char* pPath = getcwd(nullptr, 0);
    if (!pPath) return lum::FailErrno();
    sPath = lum::SystemToNarrow(pPath);
    std::free(pPath);
    return true;
}
} // namespace

DWORD GetFullPathNameA(LPCSTR pPath, DWORD ulRoom, LPSTR pOut, LPSTR* ppFilePart)
{
    lum::PathText path;
    if (!pPath || !*pPath) return lum::Fail(ERROR_INVALID_NAME);
    if (!lum::ParsePath(pPath, path)) return 0;

    const bool bSeparator = path.bFolder && std::strchr("\\/", pPath[std::strlen(pPath) - 1]) != nullptr;
    if (!path.bRooted)
    {
        std::string sWorking;
        if (!WorkingDirectory(sWorking)) return 0;
        const std::string sWhole = sWorking + "/" + path.sRest;
        path = {};
        if (!lum::ParsePath(sWhole, path)) return 0;
    }
    std::string sFull = path.Join();
    const char cSeparator = path.cDrive ? '\\' : '/';
    if (bSeparator && sFull.back() != cSeparator) sFull += cSeparator;

    const DWORD ulLength = Give(sFull, ulRoom, pOut);
    if (ppFilePart && ulLength == sFull.size())
        *ppFilePart = sFull.back() == cSeparator ? nullptr : pOut + sFull.rfind(cSeparator) + 1;
    return ulLength;
}

DWORD GetCurrentDirectoryA(DWORD ulRoom, LPSTR pOut)
{
    std::string sPath;
    return WorkingDirectory(sPath) ? Give(sPath, ulRoom, pOut) : 0;
}

BOOL SetCurrentDirectoryA(LPCSTR pPath)
{
    lum::SystemPath path;
    if (!lum::ToSystemPath(pPath, path)) return FALSE;
    if (lum::OnSpelling(path.sPath, [](const char* p) { return chdir(p); }) == 0) return TRUE;

    const int iErrno = errno;
    struct stat status{};
    if (iErrno == ENOTDIR && stat(path.sPath.c_str(), &status) == 0) return lum::Fail(ERROR_DIRECTORY);
    return lum::Fail(lum::ErrorFromErrno(iErrno));
}

DWORD GetTempPathA(DWORD ulRoom, LPSTR pOut)
{
    const char* pFolder = std::getenv("TMPDIR");
    std::string sFolder = pFolder && *pFolder ? lum::SystemToNarrow(pFolder) : "/tmp";
    if (sFolder.back() != '/') sFolder += '/';
    return Give(sFolder, ulRoom, pOut);
}

DWORD GetModuleFileNameA(HMODULE hModule, LPSTR pOut, DWORD ulRoom)
{
    if (hModule) return lum::Fail(ERROR_MOD_NOT_FOUND);

    char acPath[4096];
    const ssize_t lLength = readlink("/proc/self/exe", acPath, sizeof acPath);
    if (lLength < 0) return lum::FailErrno();

    const std::string sPath = lum::SystemToNarrow({acPath, static_cast<std::size_t>(lLength)});
    if (ulRoom == 0) return lum::Fail(ERROR_INSUFFICIENT_BUFFER);
    if (sPath.size() < ulRoom) return Give(sPath, ulRoom, pOut);

    std::memcpy(pOut, sPath.data(), ulRoom - 1);
    pOut[ulRoom - 1] = 0;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return ulRoom;
}
