#include "State.h"

#include "Errno.h"
#include "Platform.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace lum
{
namespace
{
constexpr char kMachineHome[] = "/var/lib/lumbase";

// A variable that is set to something; an empty one counts as unset, as the base directory rules have it.
std::string Variable(const char* pName)
{
    const char* pValue = std::getenv(pName);
    return pValue ? pValue : "";
}

std::string UserHome()
{
    std::string sHome = Variable("HOME");
    if (!sHome.empty()) return sHome;

    char aBuffer[4096];
    passwd entry{};
    passwd* pFound = nullptr;
    if (getpwuid_r(geteuid(), &entry, aBuffer, sizeof aBuffer, &pFound) == 0 && pFound) return pFound->pw_dir;
    return "/tmp/lumbase-" + std::to_string(geteuid()); // an account without a home
}

bool IsWritableDirectory(const char* pPath)
{
    struct stat status{};
    return stat(pPath, &status) == 0 && S_ISDIR(status.st_mode) && access(pPath, W_OK | X_OK) == 0;
}

std::string ChooseHome()
{
    std::string sHome = Variable("LUMBASE_HOME");
    if (sHome.empty())
    {
        if (IsWritableDirectory(kMachineHome)) return kMachineHome;
        std::string sData = Variable("XDG_DATA_HOME");
        if (sData.empty() || sData[0] != '/') sData = UserHome() + "/.local/share"; // a relative one is to be ignored
        sHome = sData + "/lumbase";
    }
    if (sHome[0] != '/')
    {
        // Made absolute once: the program may change its working directory later.
        if (char* pCwd = getcwd(nullptr, 0))
        {
            sHome = std::string(pCwd) + "/" + sHome;
            std::free(pCwd);
        }
    }
    while (sHome.size() > 1 && sHome.back() == '/') sHome.pop_back();
    return sHome;
}
} // namespace

const std::string& StateHome()
{
    // Never destroyed: handles may be closed while the program's own statics are torn down.
    static const std::string& sHome = *new std::string(ChooseHome());
    return sHome;
}

bool EnsureDirectory(const std::string& sPath)
{
    if (mkdir(sPath.c_str(), 0700) == 0) return true;
    if (errno == EEXIST)
    {
        struct stat status{};
        if (stat(sPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return true;
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    if (errno != ENOENT) return FailErrno();

    const std::size_t ulSlash = sPath.rfind('/');
    if (ulSlash == std::string::npos || ulSlash == 0) return Fail(ERROR_PATH_NOT_FOUND);
    if (!EnsureDirectory(sPath.substr(0, ulSlash))) return false;
    return mkdir(sPath.c_str(), 0700) == 0 || errno == EEXIST ? true : FailErrno() != FALSE;
}

bool EnsureStateHome()
{
    return EnsureDirectory(StateHome());
}
} // namespace lum

BOOL LumGetStateFolder(LPSTR pOut, DWORD ulRoom)
{
    const std::string& sHome = lum::StateHome();
    if (sHome.size() >= ulRoom) return lum::Fail(ERROR_INSUFFICIENT_BUFFER);
    if (!lum::EnsureStateHome()) return FALSE;
    sHome.copy(pOut, sHome.size());
    pOut[sHome.size()] = 0;
    return TRUE;
}
