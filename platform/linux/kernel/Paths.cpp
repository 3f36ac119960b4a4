#include "Paths.h"

#include "CodePages.h"
#include "Errno.h"
#include "State.h"
#include "Text.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace lum
{
namespace
{
bool IsSeparator(char c) { return c == '\\' || c == '/'; }
bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

bool IsNameCharacter(char c)
{
    const auto ub = static_cast<unsigned char>(c);
    return ub >= 32 && std::strchr("<>\"|?*", c) == nullptr;
}

// `..` removes the component before it; at a root there is none to remove, below the working directory it stays.
void GoUp(PathText& path)
{
    const std::size_t ulSlash = path.sRest.rfind('/');
    const std::size_t ulLast = ulSlash == std::string::npos ? 0 : ulSlash + 1;
    const bool bNothingToRemove = path.sRest.empty() || path.sRest.compare(ulLast, std::string::npos, "..") == 0;
    if (!bNothingToRemove) path.sRest.erase(ulSlash == std::string::npos ? 0 : ulSlash);
    else if (!path.bRooted) path.sRest += path.sRest.empty() ? ".." : "/..";
}

bool AddComponent(PathText& path, std::string_view name, bool bLast)
{
    path.bFolder = name.empty() || name == "." || name == "..";
    if (name.empty() || name == ".") return true;
    if (name == "..")
    {
        GoUp(path);
        return true;
    }
    for (char c : name)
        if (!IsNameCharacter(c)) return Fail(ERROR_INVALID_NAME);
    if (bLast)
        while (!name.empty() && (name.back() == '.' || name.back() == ' ')) name.remove_suffix(1);
    else if (name.back() == '.') name.remove_suffix(1);
    if (!path.sRest.empty() && !name.empty()) path.sRest += '/';
    path.sRest += name;
    return true;
}

// Takes the prefix of a drive or of a root off the text.
bool ParseRoot(std::string_view& text, PathText& path)
{
    if (text.starts_with("\\\\?\\") || text.starts_with("\\\\.\\")) text.remove_prefix(4);
    else if (text.starts_with("\\\\")) return Fail(ERROR_BAD_NETPATH);

    if (text.size() >= 2 && IsLetter(text[0]) && text[1] == ':')
    {
        path.cDrive = text[0];
        text.remove_prefix(2);
    }
    path.bRooted = path.cDrive != 0 || (!text.empty() && IsSeparator(text[0]));
    return true;
}

// Drive C is there from the start; a link of a person's own making is left as it is.
void EnsureDriveC(const std::string& sDrives)
{
    const std::string sLink = sDrives + "/c";
    struct stat status{};
    if (lstat(sLink.c_str(), &status) == 0) return;
    if (!EnsureDirectory(sDrives) || !EnsureDirectory(StateHome() + "/drive_c")) return;
    if (symlink("../drive_c", sLink.c_str()) != 0) return; // another process was quicker, or the open will say what is wrong
}

bool IsNullDevice(const std::string& sRest)
{
    const std::size_t ulSlash = sRest.rfind('/');
    return _stricmp(sRest.c_str() + (ulSlash == std::string::npos ? 0 : ulSlash + 1), "nul") == 0;
}

// From text in the system's encoding.
bool MakeSystemPath(std::string_view text, SystemPath& out)
{
    PathText path;
    if (!ParsePath(text, path)) return false;
    out.bFolder = path.bFolder;
    if (IsNullDevice(path.sRest))
    {
        out.sPath = "/dev/null";
        return true;
    }
    if (!path.cDrive)
    {
        out.sPath = path.bRooted ? "/" + path.sRest : path.sRest.empty() ? std::string(".") : path.sRest;
        return true;
    }
    const char cDrive = static_cast<char>(path.cDrive | 0x20);
    const std::string sDrives = StateHome() + "/drives";
    if (cDrive == 'c') EnsureDriveC(sDrives);
    out.sPath = sDrives + "/" + cDrive + "/" + path.sRest;
    if (path.sRest.find(':') != std::string::npos) return Fail(ERROR_INVALID_NAME);
    return true;
}
} // namespace

std::string PathText::Join() const
{
    const char cSeparator = cDrive ? '\\' : '/';
    std::string sPath;
    if (cDrive) sPath = std::string(1, cDrive) + ":";
    if (bRooted) sPath += cSeparator;
    const std::size_t ulRest = sPath.size();
    sPath += sRest;
    for (std::size_t i = ulRest; i < sPath.size(); ++i)
        if (sPath[i] == '/') sPath[i] = cSeparator;
    return sPath;
}

bool ParsePath(std::string_view text, PathText& out)
{
    if (text.empty()) return Fail(ERROR_PATH_NOT_FOUND);
    if (!ParseRoot(text, out)) return false;
    while (!text.empty())
    {
        std::size_t ulEnd = 0;
        while (ulEnd < text.size() && !IsSeparator(text[ulEnd])) ++ulEnd;
        const bool bLast = ulEnd == text.size();
        if (!AddComponent(out, text.substr(0, ulEnd), bLast)) return false;
        text.remove_prefix(bLast ? ulEnd : ulEnd + 1);
        if (!bLast && text.empty()) out.bFolder = true;
    }
    return true;
}

bool ToSystemPath(LPCSTR pPath, SystemPath& out)
{
    if (!pPath) return Fail(ERROR_PATH_NOT_FOUND);
    if (GetACP() == CP_UTF8) return MakeSystemPath(pPath, out);
    return MakeSystemPath(NarrowToSystem(pPath), out);
}

bool ToSystemPath(LPCWSTR pPath, SystemPath& out)
{
    if (!pPath) return Fail(ERROR_PATH_NOT_FOUND);
    const std::size_t ulUnits = wcslen(pPath);
    std::string sText(ulUnits * 3, '\0');
    const Conversion made = WideToUtf8(pPath, ulUnits, sText.data(), sText.size(), Misfit::Refuse);
    if (made.ulError) return Fail(ERROR_INVALID_NAME);
    sText.resize(made.ulMade);
    return MakeSystemPath(sText, out);
}

std::string NarrowToSystem(std::string_view text)
{
    if (GetACP() == CP_UTF8) return std::string(text);
    std::basic_string<WCHAR> sWide(text.size(), 0);
    sWide.resize(NarrowToWide(text.data(), text.size(), sWide.data(), sWide.size()).ulMade);
    std::string sText(sWide.size() * 3, '\0');
    sText.resize(WideToUtf8(sWide.data(), sWide.size(), sText.data(), sText.size(), Misfit::Replace).ulMade);
    return sText;
}

std::string SystemToNarrow(std::string_view text)
{
    if (GetACP() == CP_UTF8) return std::string(text);
    std::basic_string<WCHAR> sWide(text.size(), 0);
    sWide.resize(Utf8ToWide(text.data(), text.size(), sWide.data(), sWide.size(), Misfit::Replace).ulMade);
    std::string sText(sWide.size(), '\0');
    sText.resize(WideToNarrow(sWide.data(), sWide.size(), sText.data(), sText.size(), Misfit::LookAlike).ulMade);
    return sText;
}
} // namespace lum
