// Text made from formats, from the resource library and from the system's messages; text for the narrow log.
#include "OString.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

// The formatter's first pass --------------------------------------------------------------------------------------------
namespace
{
// Walks a format and takes its arguments one by one, to tell how much room the output is given, and whether the format or a
// text among the arguments lies in the string that is to be written to.
class OFormatEstimate
{
public:
    OFormatEstimate(const OString& sTarget, const unsigned short* pFormat, va_list args)
        : mpTarget(sTarget), mulTargetUnits(sTarget.GetAllocLength() ? static_cast<ULONG>(sTarget.GetAllocLength()) + 1 : 0), mpFormat(pFormat)
    {
        va_copy(mArgs, args);
        NoteText(pFormat);
    }
    ~OFormatEstimate() { va_end(mArgs); }

    // To be asked once. More than a string can hold when the widths ask for that.
    LONGLONG Units()
    {
        LONGLONG llTotal = 0;
        for (; *mpFormat; ++mpFormat)
        {
            if (*mpFormat != '%' || *++mpFormat == '%') ++llTotal;
            else if (*mpFormat) llTotal += Conversion();
            if (!*mpFormat) break; // a format that ends inside a conversion
        }
        return llTotal;
    }

    bool ReadsTarget() const { return mbReadsTarget; } // known after Units

private:
    // On the first unit behind "%"; stops on the conversion's last unit.
    LONGLONG Conversion()
    {
        const int iFlagUnits = Flags();
        if (!mllWidth) mllWidth = Number();
        if (*mpFormat == '.')
        {
            ++mpFormat;
            mllPrecision = *mpFormat == '*' ? (++mpFormat, va_arg(mArgs, int)) : Number();
            if (mllPrecision < 0) mllPrecision = 0; // counts as absent
        }
        return iFlagUnits + Item(SizePrefix());
    }

    int Flags()
    {
        int iUnits = 0;
        mllWidth = 0;
        mllPrecision = 0;
        for (;; ++mpFormat)
        {
            if (*mpFormat == '#') iUnits += 2;
            else if (*mpFormat == '*') mllWidth = std::llabs(va_arg(mArgs, int)); // below 0: to the left, as wide
            else if (*mpFormat != '-' && *mpFormat != '+' && *mpFormat != '0' && *mpFormat != ' ') return iUnits;
        }
    }

    int Number()
    {
        const int iNumber = _wtoi(AsWide(mpFormat));
        while (*mpFormat && _ismbcdigit(*mpFormat)) ++mpFormat;
        return iNumber;
    }

    enum class Prefix { None, Narrow, Wide };
    Prefix SizePrefix()
    {
        Prefix ePrefix = Prefix::None;
        for (;; ++mpFormat)
        {
            if (*mpFormat == 'h') ePrefix = Prefix::Narrow;
            else if (*mpFormat == 'l') ePrefix = Prefix::Wide;
            else if (*mpFormat != 'F' && *mpFormat != 'L' && *mpFormat != 'N') return ePrefix;
        }
    }

    LONGLONG Item(Prefix ePrefix)
    {
        switch (*mpFormat)
        {
        case 'c':
        case 'C':
            (void)va_arg(mArgs, int);
            return Bounded(2);
        case 's': return ePrefix == Prefix::Narrow ? NarrowText() : WideText();
        case 'S': return ePrefix == Prefix::Wide ? WideText() : NarrowText();
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            (void)va_arg(mArgs, int);
            return std::max<LONGLONG>(32, mllWidth + mllPrecision);
        case 'e':
        case 'f':
        case 'g':
        case 'G':
            (void)va_arg(mArgs, double);
            return std::max<LONGLONG>(128, mllWidth + mllPrecision);
        case 'p':
            (void)va_arg(mArgs, void*);
            return std::max<LONGLONG>(32, mllWidth + mllPrecision);
        case 'n':
            (void)va_arg(mArgs, void*);
            return 0;
        default: return 0;
        }
    }

    LONGLONG WideText()
    {
        const auto* pText = va_arg(mArgs, const unsigned short*);
        NoteText(pText);
        return Bounded(pText ? std::max<std::size_t>(1, wcslen(AsWide(pText))) : kulNullText);
    }

    LONGLONG NarrowText()
    {
        const char* pText = va_arg(mArgs, const char*);
        return Bounded(pText ? std::max<std::size_t>(1, std::strlen(pText)) : kulNullText);
    }

    // The width first, the precision after it: a precision below the width wins.
    LONGLONG Bounded(std::size_t ulUnits) const
    {
        const LONGLONG llUnits = std::max(static_cast<LONGLONG>(ulUnits), mllWidth);
        return mllPrecision ? std::min(llUnits, mllPrecision) : llUnits;
    }

    void NoteText(const unsigned short* pText)
    {
        const ULONG_PTR ulOffset = reinterpret_cast<ULONG_PTR>(pText) - reinterpret_cast<ULONG_PTR>(mpTarget);
        if (ulOffset < mulTargetUnits * sizeof *pText) mbReadsTarget = true;
    }

    static constexpr std::size_t kulNullText = 6; // "(null)"

    const unsigned short* const mpTarget;
    const std::size_t mulTargetUnits;
    bool mbReadsTarget = false;
    const unsigned short* mpFormat;
    va_list mArgs;
    LONGLONG mllWidth = 0;
    LONGLONG mllPrecision = 0;
};
} // namespace

void OString::FormatV(const unsigned short* pFormat, va_list args)
{
    OFormatEstimate estimate(*this, pFormat, args);
    const LONGLONG llUnits = estimate.Units();
    if (estimate.ReadsTarget())
    {
        OString sApart;
        sApart.FormatV(pFormat, args);
        *this = sApart;
        return;
    }
    unsigned short* pText = GetBuffer(static_cast<int>(std::min<LONGLONG>(llUnits, std::numeric_limits<int>::max())));
    const int iRoom = GetAllocLength();
    if (iRoom > 0)
    {
        // Nothing is written beyond the room, also where the estimate is less than the output takes.
        pText[iRoom] = 0;
        pText[0] = 0;
        _vsnwprintf(AsWide(pText), static_cast<std::size_t>(iRoom), AsWide(pFormat), args);
    }
    ReleaseBuffer(-1);
}

void OString::Format(const unsigned short* pFormat, ...)
{
    va_list args;
    va_start(args, pFormat);
    FormatV(pFormat, args);
    va_end(args);
}

void OString::Format(unsigned int ulId, ...)
{
    OString sFormat;
    sFormat.LoadStringA(ulId);
    va_list args;
    va_start(args, ulId);
    FormatV(sFormat, args);
    va_end(args);
}

// The system's message formatter ----------------------------------------------------------------------------------------

ULONG OString::FormatMessageW(ULONG ulFlags, const void* pSource, ULONG ulMessageId, ULONG ulLanguageId, unsigned short* pBuffer,
                              ULONG ulChars, va_list* pArguments)
{
    return ::FormatMessageW(ulFlags, pSource, ulMessageId, ulLanguageId, AsWide(pBuffer), ulChars, pArguments);
}

void OString::FormatMessageV(const unsigned short* pFormat, va_list* pArguments)
{
    unsigned short* pText = nullptr; // FORMAT_MESSAGE_ALLOCATE_BUFFER: the address of a pointer goes where a buffer would
    FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, pFormat, 0, 0,
                   reinterpret_cast<unsigned short*>(&pText), 0, pArguments);
    if (!pText) AfxThrowMemoryException();

    const struct OLocalText
    {
        unsigned short* pText;
        ~OLocalText() { LocalFree(pText); }
    } guard{pText};
    *this = pText;
}

void OString::FormatMessageA(const unsigned short* pFormat, ...)
{
    va_list args;
    va_start(args, pFormat);
    FormatMessageV(pFormat, &args);
    va_end(args);
}

void OString::FormatMessageA(unsigned int ulId, ...)
{
    OString sFormat;
    sFormat.LoadStringA(ulId);
    va_list args;
    va_start(args, ulId);
    FormatMessageV(sFormat, &args);
    va_end(args);
}

// The resource library --------------------------------------------------------------------------------------------------
namespace
{
// "LumRes.dll", loaded for the length of a scope. Its texts stand in blocks of 16, each a length and that many units.
class OResourceLibrary
{
public:
    OResourceLibrary() : mhModule(LoadLibraryA("LumRes.dll")) {}
    ~OResourceLibrary() { if (mhModule) FreeLibrary(mhModule); }
    OResourceLibrary(const OResourceLibrary&) = delete;
    OResourceLibrary& operator=(const OResourceLibrary&) = delete;

    // The text's length, and its units through *ppText; 0 when there is none.
    int FindText(unsigned int ulId, const unsigned short** ppText) const
    {
        const unsigned int ulTable = ulId / kulBlock + 1;
        if (!mhModule || ulTable > kulLastTable) return 0; // beyond it, the number would be cut to that of another table
        HRSRC hBlock = FindResourceA(mhModule, MAKEINTRESOURCEA(ulTable), MAKEINTRESOURCEA(kulStringTable));
        HGLOBAL hData = hBlock ? LoadResource(mhModule, hBlock) : nullptr;
        const unsigned short* pUnit = hData ? static_cast<const unsigned short*>(LockResource(hData)) : nullptr;
        if (!pUnit) return 0;

        const unsigned short* pEnd = pUnit + SizeofResource(mhModule, hBlock) / sizeof(unsigned short);
        for (unsigned int ulSkip = ulId % kulBlock; ulSkip > 0 && pUnit < pEnd; --ulSkip) pUnit += 1 + *pUnit;
        if (pUnit >= pEnd || *pUnit > pEnd - pUnit - 1) return 0;
        *ppText = pUnit + 1;
        return *pUnit;
    }

private:
    static constexpr unsigned int kulBlock = 16;
    static constexpr unsigned int kulLastTable = 0xFFFF;
    static constexpr WORD kulStringTable = 6;

    HMODULE mhModule;
};
} // namespace

// One attempt with room for iRoom units. A text that does not fit gets one place more, and is cut there.
int OString::LoadResourceText(unsigned int ulId, int iRoom)
{
    const OResourceLibrary library;
    const unsigned short* pSource = nullptr;
    const int iUnits = std::min(library.FindText(ulId, &pSource), iRoom + 1);
    unsigned short* pText = GetBuffer(std::max(iRoom, iUnits));
    if (iUnits > 0) std::memcpy(pText, pSource, static_cast<std::size_t>(iUnits) * sizeof(unsigned short));
    pText[iUnits] = 0;
    return iUnits;
}

int OString::LoadStringA(unsigned int ulId)
{
    int iRoom = 255;
    int iUnits = LoadResourceText(ulId, iRoom);
    while (iUnits == iRoom)
    {
        iRoom = iRoom == 255 ? 511 : iRoom + 256;
        iUnits = LoadResourceText(ulId, iRoom);
    }
    ReleaseBuffer(-1);
    return iUnits > 0;
}

// Substitution and narrow text ------------------------------------------------------------------------------------------

int OString::Substitute(OString sFind, OString sReplacement, unsigned int ulStart)
{
    const int iStart = static_cast<int>(std::min(ulStart, static_cast<unsigned int>(GetLength())));
    const OString sHead = Left(iStart);
    const OString sTail = Right(GetLength() - iStart);
    const int iPosition = sTail.Find(static_cast<const unsigned short*>(sFind));
    if (iPosition < 0) return 0;
    *this = sHead + sTail.Left(iPosition) + sReplacement + sTail.Right(sTail.GetLength() - sFind.GetLength() - iPosition);
    return 1;
}

CString OString::ConvertToMultiByte() const
{
    constexpr std::size_t kulMostBytes = 8192;
    constexpr std::size_t kulFailed = static_cast<std::size_t>(-1);

    const std::size_t ulBytes = wcstombs(nullptr, AsWide(mpText), 0);
    if (ulBytes == kulFailed || ulBytes > kulMostBytes) return "Error (1) from OString::ConvertToMultiByte";

    std::array<char, kulMostBytes + 2> acText;
    const std::size_t ulWritten = wcstombs(acText.data(), AsWide(mpText), ulBytes + 2);
    if (ulWritten == kulFailed || ulWritten > ulBytes + 2) return "?";
    return CString(acText.data(), static_cast<int>(ulWritten));
}
