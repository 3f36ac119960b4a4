// The code-page calls: what is asked for is checked here, the pages themselves stand beside.
#include "Text.h"

#include "CodePages.h"
#include "Error.h"

#include <cstdlib>
#include <cstring>
#include <limits>

namespace
{
constexpr UINT kuWestern = 1252;
constexpr DWORD kulToWideFlags = MB_PRECOMPOSED | MB_USEGLYPHCHARS | MB_ERR_INVALID_CHARS;
constexpr DWORD kulToNarrowFlags = WC_ERR_INVALID_CHARS | WC_NO_BEST_FIT_CHARS;

UINT ChosenPage()
{
    const char* pChoice = std::getenv("LUMBASE_ACP");
    return pChoice && std::strcmp(pChoice, "1252") == 0 ? kuWestern : CP_UTF8;
}

UINT NamedPage(UINT uCodePage)
{
    return uCodePage == CP_ACP || uCodePage == CP_THREAD_ACP ? GetACP() : uCodePage;
}

int Fail(DWORD ulError)
{
    SetLastError(ulError);
    return 0;
}

int Finish(const lum::Conversion& made)
{
    if (made.ulError) return Fail(made.ulError);
    if (made.ulMade > static_cast<std::size_t>(std::numeric_limits<int>::max())) return Fail(ERROR_ARITHMETIC_OVERFLOW);
    return static_cast<int>(made.ulMade);
}
} // namespace

UINT GetACP()
{
    static const UINT uPage = ChosenPage();
    return uPage;
}

int MultiByteToWideChar(UINT uCodePage, DWORD ulFlags, LPCSTR pText, int iBytes, LPWSTR pWide, int iRoom)
{
    if (!pText || iBytes == 0 || iRoom < 0 || (iRoom > 0 && !pWide)) return Fail(ERROR_INVALID_PARAMETER);
    const UINT uPage = NamedPage(uCodePage);
    if (uPage != CP_UTF8 && uPage != kuWestern) return Fail(ERROR_INVALID_PARAMETER);
    if (ulFlags & ~kulToWideFlags) return Fail(ERROR_INVALID_FLAGS);

    const std::size_t ulBytes = iBytes < 0 ? std::strlen(pText) + 1 : static_cast<std::size_t>(iBytes);
    WCHAR* pTo = iRoom ? pWide : nullptr;
    const std::size_t ulRoom = iRoom ? static_cast<std::size_t>(iRoom) : lum::kulAnyRoom;
    if (uPage == kuWestern) return Finish(lum::WesternToWide(pText, ulBytes, pTo, ulRoom));
    const lum::Misfit eMisfit = ulFlags & MB_ERR_INVALID_CHARS ? lum::Misfit::Refuse : lum::Misfit::Replace;
    return Finish(lum::Utf8ToWide(pText, ulBytes, pTo, ulRoom, eMisfit));
}

int WideCharToMultiByte(UINT uCodePage, DWORD ulFlags, LPCWSTR pWide, int iUnits, LPSTR pText, int iRoom, LPCSTR pDefault,
                        LPBOOL pbUsedDefault)
{
    if (!pWide || iUnits == 0 || iRoom < 0 || (iRoom > 0 && !pText)) return Fail(ERROR_INVALID_PARAMETER);
    const UINT uPage = NamedPage(uCodePage);
    if (uPage != CP_UTF8 && uPage != kuWestern) return Fail(ERROR_INVALID_PARAMETER);
    if (ulFlags & ~kulToNarrowFlags) return Fail(ERROR_INVALID_FLAGS);

    const std::size_t ulUnits = iUnits < 0 ? wcslen(pWide) + 1 : static_cast<std::size_t>(iUnits);
    char* pTo = iRoom ? pText : nullptr;
    const std::size_t ulRoom = iRoom ? static_cast<std::size_t>(iRoom) : lum::kulAnyRoom;
    lum::Conversion made;
    if (uPage == kuWestern)
    {
        const lum::Misfit eMisfit = ulFlags & WC_NO_BEST_FIT_CHARS ? lum::Misfit::Replace : lum::Misfit::LookAlike;
        made = lum::WideToWestern(pWide, ulUnits, pTo, ulRoom, eMisfit, pDefault ? *pDefault : '?');
    }
    else
    {
        const lum::Misfit eMisfit = ulFlags & WC_ERR_INVALID_CHARS ? lum::Misfit::Refuse : lum::Misfit::Replace;
        made = lum::WideToUtf8(pWide, ulUnits, pTo, ulRoom, eMisfit);
    }
    if (pbUsedDefault) *pbUsedDefault = made.bReplaced;
    return Finish(made);
}

std::size_t wcstombs(char* pText, const WCHAR* pWide, std::size_t ulRoom)
{
    const std::size_t ulUnits = wcslen(pWide);
    if (!pText) ulRoom = lum::kulAnyRoom;
    const lum::Conversion made = lum::WideToNarrow(pWide, ulUnits, pText, ulRoom, lum::Misfit::Refuse);
    if (made.ulError == ERROR_NO_UNICODE_TRANSLATION) return static_cast<std::size_t>(-1);
    if (pText && !made.ulError && made.ulMade < ulRoom) pText[made.ulMade] = '\0';
    return made.ulMade;
}

namespace lum
{
Conversion NarrowToWide(const char* pText, std::size_t ulBytes, WCHAR* pTo, std::size_t ulRoom)
{
    if (GetACP() == kuWestern) return WesternToWide(pText, ulBytes, pTo, ulRoom);
    return Utf8ToWide(pText, ulBytes, pTo, ulRoom, Misfit::Replace);
}

Conversion WideToNarrow(const WCHAR* pWide, std::size_t ulUnits, char* pTo, std::size_t ulRoom, Misfit eMisfit)
{
    if (GetACP() == kuWestern) return WideToWestern(pWide, ulUnits, pTo, ulRoom, eMisfit, '?');
    return WideToUtf8(pWide, ulUnits, pTo, ulRoom, eMisfit);
}

std::size_t NarrowBytes(const char* pText, std::size_t ulUnits)
{
    if (GetACP() == kuWestern) return strnlen(pText, ulUnits);
    std::size_t ulBytes = 0;
    for (std::size_t ulMade = 0; ulMade < ulUnits && pText[ulBytes]; ++ulMade)
    {
        const unsigned char ubLead = static_cast<unsigned char>(pText[ulBytes]);
        const unsigned uTail = ubLead < 0xC2 || ubLead > 0xF4 ? 0 : ubLead < 0xE0 ? 1 : ubLead < 0xF0 ? 2 : 3;
        ++ulBytes;
        for (unsigned u = 0; u < uTail && (pText[ulBytes] & 0xC0) == 0x80; ++u) ++ulBytes;
        if (uTail == 3) ++ulMade;
    }
    return ulBytes;
}
} // namespace lum
