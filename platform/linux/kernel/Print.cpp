// One printf engine for narrow and wide output.
#include "Print.h"

#include "Error.h"
#include "PrintNumber.h"
#include "PrintOutput.h"

namespace
{
using namespace lum;

// What may stand between precision and letter, the longer ones first. Some are prefixes of integers only.
struct SizePrefix
{
    const char* pText;
    PrintSize eSize;
    bool b64, bWide, bIntegersOnly;
};
constexpr SizePrefix kSizePrefixes[] = {
    {"I64", PrintSize::Plain, true, false, false}, {"I32", PrintSize::Plain, false, false, false},
    {"ll", PrintSize::Plain, true, false, false},  {"l", PrintSize::Long, false, false, false},
    {"h", PrintSize::Short, false, false, false},  {"w", PrintSize::Plain, false, true, false},
    {"j", PrintSize::Plain, true, false, false},   {"I", PrintSize::Plain, true, false, true},
    {"z", PrintSize::Plain, true, false, true},    {"t", PrintSize::Plain, true, false, true},
    {"L", PrintSize::Plain, false, false, false},  {"F", PrintSize::Plain, false, false, false},
    {"N", PrintSize::Plain, false, false, false},
};

template <class Unit>
class Printer
{
public:
    Printer(Unit* pTo, std::size_t ulRoom, va_list args) : mOut(pTo, ulRoom), mArgs(args) {}

    int Run(const Unit* pFormat)
    {
        while (*pFormat && !mOut.IsFull() && !mbFailed)
        {
            const Unit* pLiteral = pFormat;
            while (*pFormat && *pFormat != '%') ++pFormat;
            mOut.Copy(pLiteral, static_cast<std::size_t>(pFormat - pLiteral));
            if (*pFormat) pFormat = Convert(pFormat + 1);
        }
        const int iMade = mOut.Finish();
        return mbFailed ? -1 : iMade;
    }

private:
    static bool IsDigit(Unit unit) { return unit >= '0' && unit <= '9'; }
    static bool IsInteger(Unit unit) { return unit && unit < 128 && std::strchr("diouxX", static_cast<char>(unit)); }

    // One conversion; returns what follows it.
    const Unit* Convert(const Unit* p)
    {
        if (*p == '%')
        {
            mOut.Put('%');
            return p + 1;
        }

        PrintSpec spec;
        p = ReadFlags(p, spec);
        p = ReadWidth(p, spec);
        if (*p == '.') p = ReadPrecision(p + 1, spec);
        while (const std::size_t ulTaken = ReadSize(p, spec)) p += ulTaken;
        if (!*p || *p == '%') return p; // a conversion that breaks off prints nothing

        spec.cType = *p < 128 ? static_cast<char>(*p) : '\0';
        if (!PutArgument(spec)) mOut.Put(*p);
        return p + 1;
    }

    static const Unit* ReadFlags(const Unit* p, PrintSpec& spec)
    {
        for (;; ++p)
        {
            switch (*p)
            {
            case '-': spec.bLeft = true; break;
            case '+': spec.bPlus = true; break;
            case ' ': spec.bBlank = true; break;
            case '0': spec.bZero = true; break;
            case '#': spec.bAlternate = true; break;
            default: return p;
            }
        }
    }

    // A decimal number behind what is there already; it wraps at 32 bits as the runtime's does.
    static const Unit* ReadNumber(const Unit* p, int& iNumber)
    {
        unsigned uNumber = static_cast<unsigned>(iNumber);
        for (; IsDigit(*p); ++p) uNumber = uNumber * 10 + static_cast<unsigned>(*p - '0');
        iNumber = static_cast<int>(uNumber);
        return p;
    }

    const Unit* ReadWidth(const Unit* p, PrintSpec& spec)
    {
        if (*p == '*')
        {
            const int iWidth = mArgs.Int();
            spec.bLeft |= iWidth < 0;
            spec.iWidth = iWidth < 0 ? static_cast<int>(0u - static_cast<unsigned>(iWidth)) : iWidth;
            ++p;
        }
        p = ReadNumber(p, spec.iWidth);
        spec.iWidth = std::max(spec.iWidth, 0);
        return p;
    }

    const Unit* ReadPrecision(const Unit* p, PrintSpec& spec)
    {
        if (*p == '*')
        {
            spec.iPrecision = std::max(mArgs.Int(), -1);
            return p + 1;
        }
        spec.iPrecision = 0;
        p = ReadNumber(p, spec.iPrecision);
        spec.iPrecision = std::max(spec.iPrecision, -1);
        return p;
    }

    // The units of one size prefix, 0 when there is none.
    static std::size_t ReadSize(const Unit* p, PrintSpec& spec)
    {
        for (const SizePrefix& prefix : kSizePrefixes)
        {
            const std::size_t ulUnits = std::strlen(prefix.pText);
            if (!std::equal(prefix.pText, prefix.pText + ulUnits, p, [](char c, Unit unit) { return unit == static_cast<Unit>(c); })) continue;
            if (prefix.bIntegersOnly && !IsInteger(p[ulUnits])) continue;
            if (prefix.eSize != PrintSize::Plain) spec.eSize = prefix.eSize;
            spec.bWide |= prefix.bWide;
            spec.b64 |= prefix.b64;
            return ulUnits;
        }
        return 0;
    }

    // False for a letter that is no conversion.
    bool PutArgument(const PrintSpec& spec)
    {
        switch (spec.cType)
        {
        case 'd':
        case 'i': PutSigned(spec); return true;
        case 'u':
        case 'o':
        case 'x':
        case 'X': PutUnsigned(spec); return true;
        case 'e':
        case 'E':
        case 'f':
        case 'g':
        case 'G': PutNumber(spec, PrintDecimal, mArgs.Double()); return true;
        case 'a':
        case 'A': PutNumber(spec, PrintHexadecimal, mArgs.Double()); return true;
        case 'c':
        case 'C': PutCharacter(spec); return true;
        case 's':
        case 'S': PutString(spec); return true;
        case 'p': PutPointer(spec); return true;
        case 'n': *mArgs.template Pointer<int>() = static_cast<int>(mOut.Made()); return true;
        default: return false;
        }
    }

    void PutSigned(const PrintSpec& spec)
    {
        LONGLONG llValue = spec.b64 ? mArgs.Long() : mArgs.Int();
        if (!spec.b64 && spec.eSize == PrintSize::Short) llValue = static_cast<short>(llValue);
        const ULONGLONG ullValue = static_cast<ULONGLONG>(llValue);
        PutNumber(spec, PrintInteger, llValue < 0 ? 0 - ullValue : ullValue, llValue < 0);
    }

    void PutUnsigned(const PrintSpec& spec)
    {
        ULONGLONG ullValue = spec.b64 ? static_cast<ULONGLONG>(mArgs.Long()) : static_cast<unsigned>(mArgs.Int());
        if (!spec.b64 && spec.eSize == PrintSize::Short) ullValue = static_cast<unsigned short>(ullValue);
        PutNumber(spec, PrintInteger, ullValue, false);
    }

    template <class Print, class... Values>
    void PutNumber(const PrintSpec& spec, Print print, Values... values)
    {
        NumberText text;
        print(text, spec, values...);
        const std::size_t ulPrefix = std::strlen(text.acPrefix);
        const std::size_t ulSuffix = std::strlen(text.acSuffix);
        const std::size_t ulZeros = static_cast<std::size_t>(text.iLeadingZeros) + static_cast<std::size_t>(text.iTrailingZeros);
        const std::size_t ulUnits = ulPrefix + static_cast<std::size_t>(text.iBody) + ulZeros + ulSuffix;

        const bool bZeros = spec.bZero && !spec.bLeft;
        if (!bZeros) PadLeft(spec, ulUnits);
        mOut.Copy(text.acPrefix, ulPrefix);
        if (bZeros) PadLeft(spec, ulUnits);
        mOut.Fill('0', static_cast<std::size_t>(text.iLeadingZeros));
        mOut.Copy(text.acBody, static_cast<std::size_t>(text.iBody));
        mOut.Fill('0', static_cast<std::size_t>(text.iTrailingZeros));
        mOut.Copy(text.acSuffix, ulSuffix);
        PadRight(spec, ulUnits);
    }

    void PutPointer(PrintSpec spec)
    {
        static constexpr char kacDigits[] = "0123456789ABCDEF";
        const ULONG_PTR ulValue = reinterpret_cast<ULONG_PTR>(mArgs.template Pointer<void>());
        char acText[2 + 16] = {'0', 'X'};
        for (int i = 0; i < 16; ++i) acText[2 + i] = kacDigits[ulValue >> (60 - 4 * i) & 0xF];
        spec.bZero = false;
        const std::size_t ulSkipped = spec.bAlternate && ulValue ? 0 : 2;
        PutAscii(spec, acText + ulSkipped, sizeof acText - ulSkipped);
    }

    // Whether the argument is wide: the prefix says so, else the letter. Small letters mean the format's own width.
    static bool IsWide(const PrintSpec& spec, char cOwn)
    {
        if (spec.bWide || spec.eSize != PrintSize::Plain) return spec.bWide || spec.eSize == PrintSize::Long;
        return (spec.cType == cOwn) == (sizeof(Unit) == sizeof(WCHAR));
    }

    void PutCharacter(const PrintSpec& spec)
    {
        const int iValue = mArgs.Int();
        const WCHAR uwValue = static_cast<WCHAR>(iValue);
        const char cValue = static_cast<char>(iValue);
        if (IsWide(spec, 'c')) PutText(spec, &uwValue, 1);
        else PutText(spec, &cValue, 1);
    }

    void PutString(const PrintSpec& spec)
    {
        const void* pText = mArgs.template Pointer<const void>();
        if (!pText) PutAscii(spec, "(null)", 6);
        else if (IsWide(spec, 's')) mbFailed = !PutText(spec, static_cast<const WCHAR*>(pText), Length<WCHAR>(pText, spec));
        else mbFailed = !PutText(spec, static_cast<const char*>(pText), Length<char>(pText, spec));
    }

    template <class Source>
    static std::size_t Length(const void* pText, const PrintSpec& spec)
    {
        return Needed(static_cast<const Source*>(pText), Wanted(spec), static_cast<const Unit*>(nullptr));
    }

    static std::size_t Wanted(const PrintSpec& spec)
    {
        return spec.iPrecision < 0 ? kulAnyRoom : static_cast<std::size_t>(spec.iPrecision);
    }

    // A text of ulFrom units, cut to the precision. False when it cannot be converted; what comes before is written.
    template <class Source>
    bool PutText(const PrintSpec& spec, const Source* pFrom, std::size_t ulFrom)
    {
        if constexpr (sizeof(Source) == sizeof(Unit))
        {
            const std::size_t ulUnits = std::min(ulFrom, Wanted(spec));
            PadLeft(spec, ulUnits);
            mOut.Copy(pFrom, ulUnits);
            PadRight(spec, ulUnits);
            return true;
        }
        else
        {
            const Conversion counted = Converted(pFrom, ulFrom, static_cast<Unit*>(nullptr), Wanted(spec));
            PadLeft(spec, counted.ulMade);
            mOut.Convert(pFrom, ulFrom, counted.ulMade);
            PadRight(spec, counted.ulMade);
            return counted.ulError != ERROR_NO_UNICODE_TRANSLATION;
        }
    }

    void PutAscii(const PrintSpec& spec, const char* pText, std::size_t ulUnits)
    {
        ulUnits = std::min(ulUnits, Wanted(spec));
        PadLeft(spec, ulUnits);
        mOut.Copy(pText, ulUnits);
        PadRight(spec, ulUnits);
    }

    static std::size_t Padding(const PrintSpec& spec, std::size_t ulUnits)
    {
        const std::size_t ulWidth = static_cast<std::size_t>(spec.iWidth);
        return ulWidth > ulUnits ? ulWidth - ulUnits : 0;
    }
    void PadLeft(const PrintSpec& spec, std::size_t ulUnits)
    {
        if (!spec.bLeft) mOut.Fill(spec.bZero ? '0' : ' ', Padding(spec, ulUnits));
    }
    void PadRight(const PrintSpec& spec, std::size_t ulUnits)
    {
        if (spec.bLeft) mOut.Fill(' ', Padding(spec, ulUnits));
    }

    Output<Unit> mOut;
    Arguments mArgs;
    bool mbFailed = false;
};
} // namespace

int _vsnprintf(char* pTo, std::size_t ulRoom, const char* pFormat, va_list args)
{
    return Printer<char>(pTo, ulRoom, args).Run(pFormat);
}

int _vsnwprintf(WCHAR* pTo, std::size_t ulRoom, const WCHAR* pFormat, va_list args)
{
    return Printer<WCHAR>(pTo, ulRoom, args).Run(pFormat);
}

int _snprintf(char* pTo, std::size_t ulRoom, const char* pFormat, ...)
{
    va_list args;
    va_start(args, pFormat);
    const int iMade = _vsnprintf(pTo, ulRoom, pFormat, args);
    va_end(args);
    return iMade;
}

int _snwprintf(WCHAR* pTo, std::size_t ulRoom, const WCHAR* pFormat, ...)
{
    va_list args;
    va_start(args, pFormat);
    const int iMade = _vsnwprintf(pTo, ulRoom, pFormat, args);
    va_end(args);
    return iMade;
}
