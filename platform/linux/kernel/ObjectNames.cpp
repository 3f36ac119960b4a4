#include "ObjectNames.h"

#include "CodePages.h"
#include "Errno.h"
#include "Text.h"

#include <cstdio>
#include <cstring>

namespace lum
{
namespace
{
constexpr std::size_t kulMostUnits = 32767;
constexpr std::size_t kulLongestPlain = 200, kulKeptOfLong = 150;
constexpr std::u16string_view kLocal = u"Local\\", kGlobal = u"Global\\";

bool Check(std::u16string& sName)
{
    if (sName == u"Local" || sName == u"Global") return Fail(ERROR_INVALID_HANDLE);
    if (sName == kLocal || sName == kGlobal) return Fail(ERROR_INVALID_NAME);
    if (sName.starts_with(u'\\')) return Fail(ERROR_BAD_PATHNAME);

    const bool bGlobal = sName.starts_with(kGlobal);
    if (sName.starts_with(kLocal)) sName.erase(0, kLocal.size());
    if (sName.find(u'\\', bGlobal ? kGlobal.size() : 0) != sName.npos) return Fail(ERROR_PATH_NOT_FOUND);
    return true;
}

bool IsPlain(char16_t uwUnit, bool bFirst)
{
    const bool bLetter = (uwUnit >= u'a' && uwUnit <= u'z') || (uwUnit >= u'A' && uwUnit <= u'Z');
    return bLetter || (uwUnit >= u'0' && uwUnit <= u'9') || uwUnit == u'_' || uwUnit == u'-' || (uwUnit == u'.' && !bFirst);
}

std::uint64_t NumberOf(const std::u16string& sName) // FNV-1a, 64 bits
{
    std::uint64_t ullNumber = 0xCBF29CE484222325u;
    for (char16_t uwUnit : sName) ullNumber = (ullNumber ^ uwUnit) * 0x100000001B3u;
    return ullNumber;
}
} // namespace

bool ParseObjectName(LPCSTR pName, std::u16string& sName)
{
    sName.clear();
    if (!pName || !*pName) return true;
    const std::size_t ulBytes = std::strlen(pName);
    if (ulBytes > 3 * MAX_PATH) return Fail(ERROR_FILENAME_EXCED_RANGE); // no unit takes more than three bytes
    WCHAR auwUnits[3 * MAX_PATH];
    const std::size_t ulUnits = NarrowToWide(pName, ulBytes, auwUnits, 3 * MAX_PATH).ulMade;
    if (ulUnits > MAX_PATH) return Fail(ERROR_FILENAME_EXCED_RANGE);
    sName.assign(auwUnits, auwUnits + ulUnits);
    return Check(sName);
}

bool ParseObjectName(LPCWSTR pName, std::u16string& sName)
{
    sName.clear();
    if (!pName || !*pName) return true;
    const std::size_t ulUnits = wcslen(pName);
    if (ulUnits > kulMostUnits) return Fail(ERROR_FILENAME_EXCED_RANGE);
    sName.assign(pName, pName + ulUnits);
    return Check(sName);
}

std::string ObjectFileName(const std::u16string& sName)
{
    std::string sFile;
    char acUnit[8];
    for (char16_t uwUnit : sName)
    {
        if (IsPlain(uwUnit, sFile.empty()))
        {
            sFile += static_cast<char>(uwUnit);
            continue;
        }
        std::snprintf(acUnit, sizeof acUnit, "%%%04X", static_cast<unsigned>(uwUnit));
        sFile += acUnit;
    }
    if (sFile.size() <= kulLongestPlain) return sFile;

    char acTail[48];
    std::snprintf(acTail, sizeof acTail, "~%zu~%016llX", sName.size(), static_cast<unsigned long long>(NumberOf(sName)));
    return sFile.substr(0, kulKeptOfLong) + acTail;
}
} // namespace lum
