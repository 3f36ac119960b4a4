// Names of keys in the exchange format and on the command line.
#include "RegFile.h"
#include "Text.h"

#include <algorithm>

namespace tool
{
static size_t FindRoot(std::u16string_view sName)
{
    const std::string sNarrow = Utf8(sName);
    const auto pRoot = std::ranges::find_if(kRegRoots, [&](const RegRoot& root) {
        return EqualNoCase(sNarrow, root.pLong) || EqualNoCase(sNarrow, root.pShort);
    });
    return static_cast<size_t>(pRoot - std::begin(kRegRoots));
}

static std::string CheckPath(std::u16string_view sPath)
{
    for (size_t uStart = 0; uStart <= sPath.size();)
    {
        const size_t uEnd = std::min(sPath.find(u'\\', uStart), sPath.size());
        if (uEnd == uStart) return "an empty name stands between two backslashes or at the end";
        if (uEnd - uStart > kuMaxKeyNameUnits)
            return "a key's name has " + std::to_string(uEnd - uStart) + " characters, the longest possible is " +
                   std::to_string(kuMaxKeyNameUnits);
        uStart = uEnd + 1;
    }
    return {};
}

std::string FindRegKeyName(std::u16string_view sText, RegKeyName& result)
{
    const size_t uRootEnd = std::min(sText.find(u'\\'), sText.size());
    const size_t uRoot = FindRoot(sText.substr(0, uRootEnd));
    if (uRoot == std::size(kRegRoots))
        return "no root key has the name '" + Utf8(sText.substr(0, std::min<size_t>(uRootEnd, 40))) +
               "': it is HKEY_LOCAL_MACHINE (HKLM), HKEY_CURRENT_USER (HKCU), HKEY_CLASSES_ROOT (HKCR) or HKEY_USERS (HKU)";

    const std::u16string_view sPath = uRootEnd < sText.size() ? sText.substr(uRootEnd + 1) : std::u16string_view();
    if (uRootEnd < sText.size())
    {
        const std::string sWrong = CheckPath(sPath);
        if (!sWrong.empty()) return sWrong;
    }
    result = {uRoot, std::u16string(sPath)};
    return {};
}

std::u16string FullName(const RegKeyName& key)
{
    const std::string_view sRoot = kRegRoots[key.uRoot].pLong;
    std::u16string sResult(sRoot.begin(), sRoot.end());
    if (!key.sPath.empty()) sResult.append(1, u'\\').append(key.sPath);
    return sResult;
}
} // namespace tool
