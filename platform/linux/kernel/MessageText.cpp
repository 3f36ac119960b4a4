#include "MessageText.h"

#include "CodePages.h"
#include "Error.h"
#include "FormatMessage.h"
#include "Print.h"

#include <algorithm>
#include <string>

namespace lum
{
MessageArguments::MessageArguments(va_list* pList, bool bArray)
    : mpArray(bArray ? reinterpret_cast<const ULONG_PTR*>(pList) : nullptr), mbList(pList && !bArray)
{
    if (mbList) va_copy(mList, *pList);
}

MessageArguments::~MessageArguments()
{
    if (mbList) va_end(mList);
}

ULONG_PTR MessageArguments::Get(unsigned uNumber)
{
    if (mpArray) return mpArray[uNumber - 1];
    while (mTaken.size() < uNumber) mTaken.push_back(va_arg(mList, ULONG_PTR));
    return mTaken[uNumber - 1];
}

ULONG_PTR MessageArguments::Remove(unsigned uNumber)
{
    const ULONG_PTR ulArgument = Get(uNumber);
    mTaken.erase(mTaken.begin() + (uNumber - 1));
    return ulArgument;
}

void MessageLines::PutBlank()
{
    mulBlank = mText.size();
    mbBlank = true;
    Put(' ');
}

void MessageLines::PutWhole(const WCHAR* pText, std::size_t ulUnits)
{
    mText.insert(mText.end(), pText, pText + ulUnits);
    if (mulWidth && mText.size() - mulLine >= mulWidth) Wrap();
}

void MessageLines::PutReturn()
{
    mText.push_back('\r');
    mulLine = mText.size();
    mbBlank = false;
}

void MessageLines::Break()
{
    mText.push_back('\r');
    mText.push_back('\n');
    mulLine = mText.size();
    mbBlank = false;
}

void MessageLines::Wrap()
{
    if (!mbBlank) return Break();

    const std::vector<WCHAR> rest(mText.begin() + static_cast<std::ptrdiff_t>(mulBlank) + 1, mText.end());
    while (mulBlank > mulLine && mText[mulBlank - 1] == ' ') --mulBlank;
    mText.resize(mulBlank);
    Break();
    mText.insert(mText.end(), rest.begin(), rest.end());
}

namespace
{
class Message
{
public:
    Message(const WCHAR* pSource, DWORD ulFlags, bool bNarrow, va_list* pArguments)
        : mpSource(pSource), mbInserts(!(ulFlags & FORMAT_MESSAGE_IGNORE_INSERTS)), mbNarrow(bNarrow),
          mulWidth(ulFlags & FORMAT_MESSAGE_MAX_WIDTH_MASK), mLines(mulWidth == FORMAT_MESSAGE_MAX_WIDTH_MASK ? 0 : mulWidth),
          mArguments(pArguments, ulFlags & FORMAT_MESSAGE_ARGUMENT_ARRAY)
    {
    }

    DWORD Build()
    {
        while (*mpSource)
        {
            const WCHAR uw = *mpSource;
            if (uw == '%' && mpSource[1] == '0') break;
            if (uw == '%')
            {
                if (const DWORD ulError = TakeEscape()) return ulError;
            }
            else if (uw == '\r' || uw == '\n') TakeLineBreak();
            else TakePlain();
        }
        return ERROR_SUCCESS;
    }

    const std::vector<WCHAR>& Text() const { return mLines.Text(); }

private:
    void TakePlain()
    {
        if (*mpSource == ' ') mLines.PutBlank();
        else mLines.Put(*mpSource);
        ++mpSource;
    }

    void TakeLineBreak()
    {
        mpSource += mpSource[0] == '\r' && mpSource[1] == '\n' ? 2 : 1;
        if (mulWidth) mLines.PutBlank();
        else mLines.Break();
    }

    DWORD TakeEscape()
    {
        const WCHAR uw = mpSource[1];
        if (!uw) return ERROR_INVALID_PARAMETER;
        if (uw >= '1' && uw <= '9' && mbInserts) return TakeInsert();
        if (uw == 'n' || (uw == 't' && mulWidth)) mLines.Break();
        else if (uw == 't') mLines.Put('\t');
        else if (uw == 'r') mLines.PutReturn();
        else if (mbInserts) mLines.Put(uw);
        else mLines.PutWhole(mpSource, 2);
        mpSource += 2;
        return ERROR_SUCCESS;
    }

    DWORD TakeInsert()
    {
        unsigned uNumber = static_cast<unsigned>(*++mpSource - '0');
        if (*++mpSource >= '0' && *mpSource <= '9') uNumber = uNumber * 10 + static_cast<unsigned>(*mpSource++ - '0');

        std::string sFormat = "%";
        if (*mpSource == '!')
        {
            for (++mpSource; *mpSource && *mpSource != '!'; ++mpSource)
            {
                if (*mpSource >= 0x80) return ERROR_INVALID_PARAMETER;
                sFormat += static_cast<char>(*mpSource);
            }
            if (!*mpSource++) return ERROR_INVALID_PARAMETER;
        }
        else sFormat += 's';
        if (!mArguments.Exist() || !IsAllowed(sFormat)) return ERROR_INVALID_PARAMETER;
        PutInsert(sFormat, uNumber);
        return ERROR_SUCCESS;
    }

    // One conversion, and none that writes to memory or takes what is no integer or pointer.
    static bool IsAllowed(const std::string& sFormat) { return sFormat.find_first_of("%naAeEfFgG", 1) == std::string::npos; }

    void PutInsert(const std::string& sFormat, unsigned uNumber)
    {
        ULONG_PTR aulTaken[3] = {};
        const auto lStars = std::min<std::ptrdiff_t>(std::count(sFormat.begin(), sFormat.end(), '*'), 2);
        for (std::ptrdiff_t i = 0; i <= lStars; ++i)
        {
            // The first of a list's widths and precisions has no number of its own.
            if (i == 0 && lStars && mArguments.IsList()) aulTaken[i] = mArguments.Remove(uNumber);
            else aulTaken[i] = mArguments.Get(uNumber++);
        }
        std::vector<WCHAR> text;
        if (mbNarrow) text = Widened(Formatted<char>(sFormat.c_str(), aulTaken));
        else text = Formatted<WCHAR>(std::vector<WCHAR>(sFormat.c_str(), sFormat.c_str() + sFormat.size() + 1).data(), aulTaken);
        mLines.PutWhole(text.data(), text.size());
    }

    static int Print(char* pTo, std::size_t ulRoom, const char* pFormat, const ULONG_PTR (&aul)[3])
    {
        return _snprintf(pTo, ulRoom, pFormat, aul[0], aul[1], aul[2]);
    }
    static int Print(WCHAR* pTo, std::size_t ulRoom, const WCHAR* pFormat, const ULONG_PTR (&aul)[3])
    {
        return _snwprintf(pTo, ulRoom, pFormat, aul[0], aul[1], aul[2]);
    }

    template <class Unit>
    static std::vector<Unit> Formatted(const Unit* pFormat, const ULONG_PTR (&aul)[3])
    {
        std::vector<Unit> text(static_cast<std::size_t>(std::max(0, Print(static_cast<Unit*>(nullptr), 0, pFormat, aul))));
        if (!text.empty()) Print(text.data(), text.size(), pFormat, aul);
        return text;
    }

    static std::vector<WCHAR> Widened(const std::vector<char>& narrow)
    {
        std::vector<WCHAR> wide(narrow.size());
        wide.resize(NarrowToWide(narrow.data(), narrow.size(), wide.data(), wide.size()).ulMade);
        return wide;
    }

    const WCHAR* mpSource;
    const bool mbInserts;
    const bool mbNarrow;
    const DWORD mulWidth;
    MessageLines mLines;
    MessageArguments mArguments;
};
} // namespace

DWORD FormatMessageText(const WCHAR* pSource, DWORD ulFlags, bool bNarrow, va_list* pArguments, std::vector<WCHAR>& text)
{
    Message message(pSource, ulFlags, bNarrow, pArguments);
    const DWORD ulError = message.Build();
    if (!ulError) text = message.Text();
    return ulError;
}
} // namespace lum
