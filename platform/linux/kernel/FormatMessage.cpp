// Where a message comes from and where it goes; MessageText.cpp puts it together.
#include "FormatMessage.h"

#include "CodePages.h"
#include "Error.h"
#include "Memory.h"
#include "MessageText.h"
#include "Text.h"

#include <algorithm>
#include <cstring>

namespace
{
using namespace lum;

DWORD Fail(DWORD ulError)
{
    SetLastError(ulError);
    return 0;
}

// The system's messages are English.
bool IsEnglish(DWORD ulLanguageId)
{
    constexpr DWORD kulPrimary = 0x3FF, kulNeutral = 0, kulEnglish = 9;
    return ulLanguageId <= 0xFFFF && ((ulLanguageId & kulPrimary) == kulNeutral || (ulLanguageId & kulPrimary) == kulEnglish);
}

// The system's text for a code, with its line break, or the error why there is none.
DWORD FindSystemText(DWORD ulMessageId, DWORD ulLanguageId, std::vector<WCHAR>& text)
{
    if (!IsEnglish(ulLanguageId)) return ERROR_RESOURCE_LANG_NOT_FOUND;
    const char* pText = SystemText(ulMessageId);
    if (!pText) return ERROR_MR_MID_NOT_FOUND;
    text.assign(pText, pText + std::strlen(pText));
    text.insert(text.end(), {'\r', '\n', 0});
    return ERROR_SUCCESS;
}

template <class Unit>
DWORD Deliver(const std::vector<Unit>& text, DWORD ulFlags, Unit* pBuffer, DWORD ulSize)
{
    if (text.empty()) return Fail(ERROR_NO_WORK_DONE);

    Unit* pTo = pBuffer;
    if (ulFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER)
    {
        const std::size_t ulUnits = std::max<std::size_t>(text.size() + 1, ulSize);
        pTo = static_cast<Unit*>(LocalAlloc(LMEM_FIXED, ulUnits * sizeof(Unit)));
        if (!pTo) return 0;
        *reinterpret_cast<Unit**>(pBuffer) = pTo;
    }
    else if (text.size() >= ulSize)
    {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    std::copy(text.begin(), text.end(), pTo);
    pTo[text.size()] = 0;
    return static_cast<DWORD>(text.size());
}

const WCHAR* Widened(const WCHAR* pText, std::vector<WCHAR>&) { return pText; }
const WCHAR* Widened(const char* pText, std::vector<WCHAR>& wide)
{
    const std::size_t ulBytes = std::strlen(pText) + 1;
    wide.resize(ulBytes);
    wide.resize(NarrowToWide(pText, ulBytes, wide.data(), wide.size()).ulMade);
    return wide.data();
}

DWORD DeliverAs(const std::vector<WCHAR>& text, DWORD ulFlags, WCHAR* pBuffer, DWORD ulSize)
{
    return Deliver(text, ulFlags, pBuffer, ulSize);
}
DWORD DeliverAs(const std::vector<WCHAR>& text, DWORD ulFlags, char* pBuffer, DWORD ulSize)
{
    std::vector<char> narrow(WideToNarrow(text.data(), text.size(), nullptr, kulAnyRoom, Misfit::LookAlike).ulMade);
    WideToNarrow(text.data(), text.size(), narrow.data(), narrow.size(), Misfit::LookAlike);
    return Deliver(narrow, ulFlags, pBuffer, ulSize);
}

template <class Unit>
DWORD FormatMessageOf(DWORD ulFlags, const Unit* pOwn, DWORD ulMessageId, DWORD ulLanguageId, Unit* pBuffer, DWORD ulSize,
                      va_list* pArguments)
{
    if (!pBuffer) return Fail(ERROR_INVALID_PARAMETER);
    if (ulFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) *reinterpret_cast<Unit**>(pBuffer) = nullptr;

    std::vector<WCHAR> kept;
    const WCHAR* pSource = nullptr;
    if (ulFlags & FORMAT_MESSAGE_FROM_STRING)
    {
        if (!pOwn) return Fail(ERROR_INVALID_PARAMETER);
        pSource = Widened(pOwn, kept);
    }
    else if (ulFlags & FORMAT_MESSAGE_FROM_SYSTEM)
    {
        if (const DWORD ulError = FindSystemText(ulMessageId, ulLanguageId, kept)) return Fail(ulError);
        pSource = kept.data();
    }
    else return Fail(ulFlags & FORMAT_MESSAGE_FROM_HMODULE ? ERROR_RESOURCE_DATA_NOT_FOUND : ERROR_INVALID_PARAMETER);

    std::vector<WCHAR> text;
    const DWORD ulError = FormatMessageText(pSource, ulFlags, sizeof(Unit) == sizeof(char), pArguments, text);
    return ulError ? Fail(ulError) : DeliverAs(text, ulFlags, pBuffer, ulSize);
}
} // namespace

DWORD FormatMessageA(DWORD ulFlags, LPCVOID pSource, DWORD ulMessageId, DWORD ulLanguageId, LPSTR pBuffer, DWORD ulSize,
                     va_list* pArguments)
{
    return FormatMessageOf(ulFlags, static_cast<const char*>(pSource), ulMessageId, ulLanguageId, pBuffer, ulSize, pArguments);
}

DWORD FormatMessageW(DWORD ulFlags, LPCVOID pSource, DWORD ulMessageId, DWORD ulLanguageId, LPWSTR pBuffer, DWORD ulSize,
                     va_list* pArguments)
{
    return FormatMessageOf(ulFlags, static_cast<const WCHAR*>(pSource), ulMessageId, ulLanguageId, pBuffer, ulSize, pArguments);
}
