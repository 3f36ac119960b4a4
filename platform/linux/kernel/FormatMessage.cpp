// One formatter for 8-bit and 16-bit messages: the message is put together first, then handed to the caller's buffer.
#include "FormatMessage.h"

#include "Error.h"
#include "Memory.h"
#include "Print.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace
{
DWORD Fail(DWORD ulError)
{
    SetLastError(ulError);
    return 0;
}

template <class... Args>
int Print(char* pTo, std::size_t ulRoom, const char* pFormat, Args... args) { return _snprintf(pTo, ulRoom, pFormat, args...); }
template <class... Args>
int Print(WCHAR* pTo, std::size_t ulRoom, const WCHAR* pFormat, Args... args) { return _snwprintf(pTo, ulRoom, pFormat, args...); }

// The caller's arguments by their numbers, each an integer or a pointer in a register's width.
class Arguments
{
public:
    Arguments(va_list* pList, bool bArray) : mpArray(bArray ? reinterpret_cast<const ULONG_PTR*>(pList) : nullptr)
    {
        mbList = pList && !bArray;
        if (mbList) va_copy(mList, *pList);
    }
    ~Arguments() { if (mbList) va_end(mList); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    bool Exist() const { return mpArray || mbList; }
    ULONG_PTR Get(unsigned int uNumber) // from 1
    {
        if (mpArray) return mpArray[uNumber - 1];
        while (mTaken.size() < uNumber) mTaken.push_back(va_arg(mList, ULONG_PTR));
        return mTaken[uNumber - 1];
    }

private:
    const ULONG_PTR* mpArray;
    bool mbList;
    va_list mList;
    std::vector<ULONG_PTR> mTaken; // a list can be walked only once, but an insert may stand twice
};

template <class Char>
class Message
{
public:
    Message(const Char* pSource, DWORD ulFlags, va_list* pArguments)
        : mpSource(pSource), mbInserts(!(ulFlags & FORMAT_MESSAGE_IGNORE_INSERTS)),
          mulWidth(ulFlags & FORMAT_MESSAGE_MAX_WIDTH_MASK), mArguments(pArguments, ulFlags & FORMAT_MESSAGE_ARGUMENT_ARRAY)
    {
    }

    // ERROR_SUCCESS, or what is wrong with the format.
    DWORD Build()
    {
        while (*mpSource)
        {
            if (*mpSource == '\r' || *mpSource == '\n') TakeLineBreak();
            else if (*mpSource != '%') Put(*mpSource++);
            else if (mpSource[1] == '0') break;
            else if (DWORD ulError = TakeEscape()) return ulError;
        }
        return ERROR_SUCCESS;
    }

    const std::vector<Char>& Text() const { return mText; }

private:
    static constexpr DWORD kulNoBreaks = FORMAT_MESSAGE_MAX_WIDTH_MASK;
    using String = std::vector<Char>;

    void TakeLineBreak()
    {
        mpSource += mpSource[0] == '\r' && mpSource[1] == '\n' ? 2 : 1;
        if (mulWidth) Put(' ');
        else PutLineBreak();
    }

    DWORD TakeEscape()
    {
        const Char c = mpSource[1];
        if (!c) return ERROR_INVALID_PARAMETER;
        if (c >= '1' && c <= '9' && mbInserts) return TakeInsert();
        mpSource += 2;
        if (c == 'n') PutLineBreak();
        else if (c == 'r') Put('\r');
        else if (c == 't') Put('\t');
        else
        {
            if (!mbInserts) Put('%');
            Put(c);
        }
        return ERROR_SUCCESS;
    }

    DWORD TakeInsert()
    {
        unsigned int uNumber = static_cast<unsigned int>(*++mpSource - '0');
        if (*++mpSource >= '0' && *mpSource <= '9') uNumber = uNumber * 10 + static_cast<unsigned int>(*mpSource++ - '0');

        String format{'%'};
        if (*mpSource == '!')
        {
            const Char* pEnd = ++mpSource;
            while (*pEnd && *pEnd != '!') ++pEnd;
            if (!*pEnd) return ERROR_INVALID_PARAMETER;
            format.insert(format.end(), mpSource, pEnd);
            mpSource = pEnd + 1;
        }
        else
        {
            format.push_back('s');
        }
        if (!mArguments.Exist() || !IsAllowed(format)) return ERROR_INVALID_PARAMETER;
        format.push_back(0);
        PutFormatted(format, uNumber);
        return ERROR_SUCCESS;
    }

    // No conversion that would write to memory or take what is no integer or pointer.
    static bool IsAllowed(const String& format)
    {
        return std::none_of(format.begin(), format.end(), [](Char c) { return c < 0x80 && std::strchr("naAeEfFgG", static_cast<char>(c)); });
    }

    void PutFormatted(const String& format, unsigned int uNumber)
    {
        const auto lStars = std::count(format.begin(), format.end(), Char('*'));
        const auto print = [&](Char* pTo, std::size_t ulRoom)
        {
            const auto argument = [&](unsigned int uOffset) { return mArguments.Get(uNumber + uOffset); };
            if (lStars == 0) return Print(pTo, ulRoom, format.data(), argument(0));
            if (lStars == 1) return Print(pTo, ulRoom, format.data(), argument(0), argument(1));
            return Print(pTo, ulRoom, format.data(), argument(0), argument(1), argument(2));
        };
        const int iUnits = print(nullptr, 0);
        if (iUnits <= 0) return;
        String text(static_cast<std::size_t>(iUnits) + 1);
        print(text.data(), text.size());
        text.pop_back();
        for (Char c : text) Put(c);
    }

    void Put(Char c)
    {
        if (c == ' ') mulBlank = mText.size();
        mText.push_back(c);
        if (!mulWidth || mulWidth == kulNoBreaks || mText.size() - mulLine <= mulWidth || mulBlank <= mulLine) return;

        // Too long: the last blank becomes a line break.
        mText[mulBlank] = '\n';
        mText.insert(mText.begin() + static_cast<std::ptrdiff_t>(mulBlank), '\r');
        mulLine = mulBlank + 2;
    }

    void PutLineBreak()
    {
        mText.push_back('\r');
        mText.push_back('\n');
        mulLine = mText.size();
    }

    const Char* mpSource;
    const bool mbInserts;
    const DWORD mulWidth;
    Arguments mArguments;
    String mText;
    std::size_t mulLine = 0;  // where the line begins
    std::size_t mulBlank = 0; // the last blank
};

template <class Char>
DWORD Deliver(const std::vector<Char>& text, DWORD ulFlags, Char* pBuffer, DWORD ulSize)
{
    if (text.empty()) return Fail(ERROR_NO_WORK_DONE);

    Char* pTo = pBuffer;
    if (ulFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER)
    {
        const std::size_t ulUnits = std::max<std::size_t>(text.size() + 1, ulSize);
        pTo = static_cast<Char*>(LocalAlloc(LMEM_FIXED, ulUnits * sizeof(Char)));
        if (!pTo) return 0;
        *reinterpret_cast<Char**>(pBuffer) = pTo;
    }
    else if (text.size() >= ulSize)
    {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    std::copy(text.begin(), text.end(), pTo);
    pTo[text.size()] = 0;
    return static_cast<DWORD>(text.size());
}

// The system's messages are English.
bool IsEnglish(DWORD ulLanguageId)
{
    constexpr DWORD kulPrimary = 0x3FF, kulNeutral = 0, kulEnglish = 9;
    return (ulLanguageId & kulPrimary) == kulNeutral || (ulLanguageId & kulPrimary) == kulEnglish;
}

template <class Char>
DWORD FormatMessageOf(DWORD ulFlags, const Char* pSource, DWORD ulMessageId, DWORD ulLanguageId, Char* pBuffer, DWORD ulSize,
                      va_list* pArguments)
{
    if (!pBuffer) return Fail(ERROR_INVALID_PARAMETER);
    if (ulFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) *reinterpret_cast<Char**>(pBuffer) = nullptr;

    std::vector<Char> systemText;
    if (ulFlags & FORMAT_MESSAGE_FROM_STRING)
    {
        if (!pSource) return Fail(ERROR_INVALID_PARAMETER);
    }
    else if (ulFlags & FORMAT_MESSAGE_FROM_SYSTEM)
    {
        if (!IsEnglish(ulLanguageId)) return Fail(ERROR_RESOURCE_LANG_NOT_FOUND);
        const char* pText = lum::SystemText(ulMessageId);
        if (!pText) return Fail(ERROR_MR_MID_NOT_FOUND);
        systemText.assign(pText, pText + std::strlen(pText));
        systemText.insert(systemText.end(), {'\r', '\n', 0});
        pSource = systemText.data();
    }
    else
    {
        return Fail(ulFlags & FORMAT_MESSAGE_FROM_HMODULE ? ERROR_RESOURCE_TYPE_NOT_FOUND : ERROR_INVALID_PARAMETER);
    }

    Message<Char> message(pSource, ulFlags, pArguments);
    if (DWORD ulError = message.Build()) return Fail(ulError);
    return Deliver(message.Text(), ulFlags, pBuffer, ulSize);
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
