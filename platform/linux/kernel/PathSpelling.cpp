// Names on the disk, found without regard to case.
#include "CodePages.h"
#include "Paths.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cwctype>
#include <clocale>
#include <memory>
#include <vector>

namespace lum
{
namespace
{
// A name with its case taken out. Names are UTF-8; one that is not is equal to itself alone, near enough.
std::vector<WCHAR> Fold(std::string_view name)
{
    static const locale_t hLocale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    std::vector<WCHAR> folded(name.size());
    folded.resize(Utf8ToWide(name.data(), name.size(), folded.data(), folded.size(), Misfit::Replace).ulMade);
    for (WCHAR& uw : folded)
    {
        if (uw < 0x80 || !hLocale) uw = uw >= 'a' && uw <= 'z' ? static_cast<WCHAR>(uw - 0x20) : uw;
        else if (const wint_t uUpper = towupper_l(uw, hLocale); uUpper <= 0xFFFF) uw = static_cast<WCHAR>(uUpper);
    }
    return folded;
}

// The entry of a folder that has this name in another spelling; empty when there is none.
std::string FindEntry(const std::string& sFolder, std::string_view name)
{
    const auto close = [](DIR* pOpen) { closedir(pOpen); };
    const std::unique_ptr<DIR, decltype(close)> pFolder(opendir(sFolder.c_str()), close);
    if (!pFolder) return {};

    const std::vector<WCHAR> wanted = Fold(name);
    std::string sBest;
    while (const dirent* pEntry = readdir(pFolder.get()))
    {
        const std::string_view entry = pEntry->d_name;
        if ((sBest.empty() || entry < sBest) && Fold(entry) == wanted) sBest = entry;
    }
    return sBest;
}

bool Exists(const std::string& sPath)
{
    struct stat status{};
    return lstat(sPath.c_str(), &status) == 0;
}

bool IsFolder(const std::string& sPath)
{
    struct stat status{};
    return stat(sPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}
} // namespace

PathFound FindSpelling(std::string& sPath)
{
    // The longest part that is there as spelled needs no search.
    std::size_t ulDone = sPath.size();
    while (ulDone > 0 && !Exists(sPath.substr(0, ulDone)))
    {
        const std::size_t ulSlash = sPath.rfind('/', ulDone - 1);
        ulDone = ulSlash == std::string::npos ? 0 : ulSlash;
    }
    if (ulDone == sPath.size()) return PathFound::Whole;

    // ulDone is at a slash or at the start, and everything before it exists.
    for (;;)
    {
        const std::size_t ulName = ulDone == 0 && sPath[0] != '/' ? 0 : ulDone + 1;
        std::size_t ulEnd = sPath.find('/', ulName);
        if (ulEnd == std::string::npos) ulEnd = sPath.size();
        const std::string sFolder = ulName == 0 ? "." : ulDone == 0 ? "/" : sPath.substr(0, ulDone);

        const std::string_view name = std::string_view(sPath).substr(ulName, ulEnd - ulName);
        if (!Exists(sPath.substr(0, ulEnd)))
        {
            const std::string sEntry = FindEntry(sFolder, name);
            if (sEntry.empty()) return ulEnd == sPath.size() && IsFolder(sFolder) ? PathFound::Folder : PathFound::Less;
            sPath.replace(ulName, ulEnd - ulName, sEntry);
            ulEnd = ulName + sEntry.size();
        }
        if (ulEnd == sPath.size()) return PathFound::Whole;
        ulDone = ulEnd;
    }
}
} // namespace lum
