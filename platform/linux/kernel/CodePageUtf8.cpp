// UTF-8 and units, with the Windows way of standing in for what is malformed.
#include "CodePages.h"

#include "Error.h"

#include <algorithm>
#include <emmintrin.h>

namespace
{
constexpr ULONG kulReplacement = 0xFFFD;

bool IsHighHalf(ULONG ulUnit) { return (ulUnit & 0xFC00) == 0xD800; }
bool IsLowHalf(ULONG ulUnit) { return (ulUnit & 0xFC00) == 0xDC00; }

// Widens the ASCII at the start of a text, 16 bytes at a time while it lasts; returns how many bytes that was.
// pTo null only counts.
std::size_t WidenAscii(const unsigned char* pFrom, std::size_t ulBytes, WCHAR* pTo)
{
    std::size_t ulDone = 0;
    for (; ulBytes - ulDone >= 16; ulDone += 16)
    {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pFrom + ulDone));
        if (_mm_movemask_epi8(block)) break;
        if (!pTo) continue;
        __m128i* pOut = reinterpret_cast<__m128i*>(pTo + ulDone);
        _mm_storeu_si128(pOut, _mm_unpacklo_epi8(block, _mm_setzero_si128()));
        _mm_storeu_si128(pOut + 1, _mm_unpackhi_epi8(block, _mm_setzero_si128()));
    }
    for (; ulDone < ulBytes && pFrom[ulDone] < 0x80; ++ulDone)
    {
        if (pTo) pTo[ulDone] = pFrom[ulDone];
    }
    return ulDone;
}

std::size_t NarrowAscii(const WCHAR* pFrom, std::size_t ulUnits, char* pTo)
{
    const __m128i beyond = _mm_set1_epi16(static_cast<short>(0xFF80));
    std::size_t ulDone = 0;
    for (; ulUnits - ulDone >= 16; ulDone += 16)
    {
        const __m128i* pIn = reinterpret_cast<const __m128i*>(pFrom + ulDone);
        const __m128i low = _mm_loadu_si128(pIn);
        const __m128i high = _mm_loadu_si128(pIn + 1);
        const __m128i others = _mm_and_si128(_mm_or_si128(low, high), beyond);
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(others, _mm_setzero_si128())) != 0xFFFF) break;
        if (pTo) _mm_storeu_si128(reinterpret_cast<__m128i*>(pTo + ulDone), _mm_packus_epi16(low, high));
    }
    for (; ulDone < ulUnits && pFrom[ulDone] < 0x80; ++ulDone)
    {
        if (pTo) pTo[ulDone] = static_cast<char>(pFrom[ulDone]);
    }
    return ulDone;
}

struct Decoded
{
    ULONG ulCode;
    unsigned uTaken; // bytes or units of the text
    bool bValid;
};

// One character that is not ASCII. A byte that cannot begin one stands alone; a sequence ends at the first byte that does
// not continue it, or with the second where that already makes it overlong, half a surrogate pair or too large.
Decoded DecodeOne(const unsigned char* pText, std::size_t ulBytes)
{
    const ULONG ulLead = pText[0];
    if (ulLead < 0xC2 || ulLead > 0xF4) return {kulReplacement, 1, false};

    const unsigned uTail = ulLead < 0xE0 ? 1 : ulLead < 0xF0 ? 2 : 3;
    ULONG ulCode = ulLead & (0x3Fu >> uTail);
    for (unsigned i = 1; i <= uTail; ++i)
    {
        if (i >= ulBytes || (pText[i] & 0xC0) != 0x80) return {kulReplacement, i, false};
        ulCode = ulCode << 6 | (pText[i] & 0x3F);
        if (i != 1) continue;
        const bool bBadPair = uTail == 2 && (ulCode < 0x20 || (ulCode >= 0x360 && ulCode < 0x380));
        const bool bBadRange = uTail == 3 && (ulCode < 0x10 || ulCode >= 0x110);
        if (bBadPair || bBadRange) return {kulReplacement, 2, false};
    }
    return {ulCode, uTail + 1, true};
}

unsigned Utf8Size(ULONG ulCode)
{
    return ulCode < 0x80 ? 1 : ulCode < 0x800 ? 2 : ulCode < 0x10000 ? 3 : 4;
}

void PutBytes(ULONG ulCode, unsigned uSize, char* pTo)
{
    static constexpr unsigned char kaubLead[] = {0, 0x00, 0xC0, 0xE0, 0xF0};
    for (unsigned i = uSize - 1; i > 0; --i, ulCode >>= 6) pTo[i] = static_cast<char>(0x80 | (ulCode & 0x3F));
    pTo[0] = static_cast<char>(kaubLead[uSize] | ulCode);
}

void PutUnits(ULONG ulCode, WCHAR* pTo)
{
    if (ulCode < 0x10000)
    {
        pTo[0] = static_cast<WCHAR>(ulCode);
        return;
    }
    pTo[0] = static_cast<WCHAR>(0xD800 | ((ulCode - 0x10000) >> 10));
    pTo[1] = static_cast<WCHAR>(0xDC00 | (ulCode & 0x3FF));
}

// Where a conversion writes: so much room, which need not be there when it only counts.
template <class T>
struct Output
{
    T* const pTo;
    const std::size_t ulRoom;
    std::size_t ulMade = 0;

    T* Next() const { return pTo ? pTo + ulMade : nullptr; }
    std::size_t Most(std::size_t ulWanted) const { return std::min(ulWanted, ulRoom - ulMade); }
    bool Fits(std::size_t ulWanted) const { return Most(ulWanted) == ulWanted; }
};

// The character at the start of a text, as its code; a lone half of a surrogate pair is not one.
Decoded TakeOne(const WCHAR* pWide, std::size_t ulUnits)
{
    const ULONG ulUnit = pWide[0];
    if (!IsHighHalf(ulUnit) && !IsLowHalf(ulUnit)) return {ulUnit, 1, true};
    if (!IsHighHalf(ulUnit) || ulUnits < 2 || !IsLowHalf(pWide[1])) return {kulReplacement, 1, false};
    return {0x10000 + ((ulUnit & 0x3FF) << 10 | (pWide[1] & 0x3FFu)), 2, true};
}
} // namespace

namespace lum
{
Conversion Utf8ToWide(const char* pText, std::size_t ulBytes, WCHAR* pTo, std::size_t ulRoom, Misfit eMisfit)
{
    const unsigned char* pFrom = reinterpret_cast<const unsigned char*>(pText);
    Output<WCHAR> out{pTo, ulRoom};
    bool bReplaced = false;
    for (std::size_t ul = 0;;)
    {
        const std::size_t ulRun = WidenAscii(pFrom + ul, out.Most(ulBytes - ul), out.Next());
        ul += ulRun;
        out.ulMade += ulRun;
        if (ul == ulBytes) return {out.ulMade, 0, bReplaced};
        if (!out.Fits(1)) return {out.ulMade, ERROR_INSUFFICIENT_BUFFER, bReplaced};

        const Decoded one = DecodeOne(pFrom + ul, ulBytes - ul);
        if (!one.bValid && eMisfit == Misfit::Refuse) return {out.ulMade, ERROR_NO_UNICODE_TRANSLATION, bReplaced};
        bReplaced |= !one.bValid;
        const unsigned uSize = one.ulCode < 0x10000 ? 1 : 2;
        if (!out.Fits(uSize)) return {out.ulMade, ERROR_INSUFFICIENT_BUFFER, bReplaced};
        if (pTo) PutUnits(one.ulCode, out.Next());
        out.ulMade += uSize;
        ul += one.uTaken;
    }
}

Conversion WideToUtf8(const WCHAR* pWide, std::size_t ulUnits, char* pTo, std::size_t ulRoom, Misfit eMisfit)
{
    Output<char> out{pTo, ulRoom};
    bool bReplaced = false;
    for (std::size_t ul = 0;;)
    {
        const std::size_t ulRun = NarrowAscii(pWide + ul, out.Most(ulUnits - ul), out.Next());
        ul += ulRun;
        out.ulMade += ulRun;
        if (ul == ulUnits) return {out.ulMade, 0, bReplaced};
        if (!out.Fits(1)) return {out.ulMade, ERROR_INSUFFICIENT_BUFFER, bReplaced};

        const Decoded one = TakeOne(pWide + ul, ulUnits - ul);
        if (!one.bValid && eMisfit == Misfit::Refuse) return {out.ulMade, ERROR_NO_UNICODE_TRANSLATION, bReplaced};
        bReplaced |= !one.bValid;
        const unsigned uSize = Utf8Size(one.ulCode);
        if (!out.Fits(uSize)) return {out.ulMade, ERROR_INSUFFICIENT_BUFFER, bReplaced};
        if (pTo) PutBytes(one.ulCode, uSize, out.Next());
        out.ulMade += uSize;
        ul += one.uTaken;
    }
}
} // namespace lum
