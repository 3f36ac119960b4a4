// Length of wide text, and what is found in it.
#include "Text.h"

#include "WideScan.h"

#include <algorithm>

using namespace lum;

namespace
{
constexpr std::size_t kulNoLimit = ~std::size_t{0} / 4;

// The units before the zero, or some number that is ulMost at least.
READS_AHEAD std::size_t Length(const WCHAR* pText, std::size_t ulMost)
{
    const __m128i zero = _mm_setzero_si128();
    const WCHAR* pBlock = BlockOf(pText);
    if (const unsigned uZeros = Mask(_mm_cmpeq_epi16(LoadAligned(pBlock), zero)) & FromHere(pText))
    {
        return FirstUnit(uZeros) - static_cast<std::size_t>(pText - pBlock);
    }
    pBlock += kulBlockUnits;
    for (; reinterpret_cast<std::uintptr_t>(pBlock) % (4 * sizeof(__m128i)); pBlock += kulBlockUnits)
    {
        const unsigned uZeros = Mask(_mm_cmpeq_epi16(LoadAligned(pBlock), zero));
        if (uZeros) return static_cast<std::size_t>(pBlock - pText) + FirstUnit(uZeros);
    }
    for (; static_cast<std::size_t>(pBlock - pText) < ulMost; pBlock += 4 * kulBlockUnits)
    {
        const __m128i zeros0 = _mm_cmpeq_epi16(LoadAligned(pBlock), zero);
        const __m128i zeros1 = _mm_cmpeq_epi16(LoadAligned(pBlock + 8), zero);
        const __m128i zeros2 = _mm_cmpeq_epi16(LoadAligned(pBlock + 16), zero);
        const __m128i zeros3 = _mm_cmpeq_epi16(LoadAligned(pBlock + 24), zero);
        if (!Mask(_mm_or_si128(_mm_or_si128(zeros0, zeros1), _mm_or_si128(zeros2, zeros3)))) continue;
        const std::uint64_t ulLow = Mask(zeros0) | Mask(zeros1) << 16;
        const std::uint64_t ulHigh = Mask(zeros2) | Mask(zeros3) << 16;
        return static_cast<std::size_t>(pBlock - pText) + FirstUnit(ulLow | ulHigh << 32);
    }
    return static_cast<std::size_t>(pBlock - pText);
}

bool Same(const WCHAR* pA, const WCHAR* pB, std::size_t ulUnits)
{
    if (ulUnits < kulBlockUnits) return std::equal(pA, pA + ulUnits, pB);
    for (std::size_t ul = 0; ul + kulBlockUnits < ulUnits; ul += kulBlockUnits)
    {
        if (Mask(_mm_cmpeq_epi16(Load(pA + ul), Load(pB + ul))) != 0xFFFF) return false;
    }
    const std::size_t ulLast = ulUnits - kulBlockUnits; // overlaps the block before
    return Mask(_mm_cmpeq_epi16(Load(pA + ulLast), Load(pB + ulLast))) == 0xFFFF;
}

// The first place from pFrom up to pEnd where the ulUnits (two at least) of pFind stand; all of it can be read.
// Only places where both the first and the last unit agree are looked at closely.
const WCHAR* FindBetween(const WCHAR* pFrom, const WCHAR* pEnd, const WCHAR* pFind, std::size_t ulUnits)
{
    const std::size_t ulToLast = ulUnits - 1;
    const __m128i first = EightOf(pFind[0]);
    const __m128i last = EightOf(pFind[ulToLast]);
    for (; pEnd - pFrom >= static_cast<std::ptrdiff_t>(kulBlockUnits); pFrom += kulBlockUnits)
    {
        const __m128i both = _mm_and_si128(_mm_cmpeq_epi16(Load(pFrom), first), _mm_cmpeq_epi16(Load(pFrom + ulToLast), last));
        for (unsigned uPlaces = Mask(both); uPlaces; uPlaces &= ~(3u << 2 * FirstUnit(uPlaces)))
        {
            const WCHAR* pPlace = pFrom + FirstUnit(uPlaces);
            if (Same(pPlace + 1, pFind + 1, ulUnits - 2)) return pPlace;
        }
    }
    for (; pFrom < pEnd; ++pFrom)
    {
        if (Same(pFrom, pFind, ulUnits)) return pFrom;
    }
    return nullptr;
}

// Which units a set holds. The small table answers "no" for most; what it lets through is looked up in the set itself.
class UnitSet
{
public:
    explicit UnitSet(const WCHAR* pSet) : mpSet(pSet)
    {
        for (; *pSet; ++pSet) maulTable[*pSet / 64 % 4] |= std::uint64_t{1} << *pSet % 64;
    }
    bool Has(WCHAR uwUnit) const
    {
        return (maulTable[uwUnit / 64 % 4] >> uwUnit % 64 & 1) && uwUnit && wcschr(mpSet, uwUnit);
    }

private:
    const WCHAR* mpSet;
    std::uint64_t maulTable[4] = {}; // by the low eight bits
};
} // namespace

std::size_t wcslen(const WCHAR* pText) { return Length(pText, kulNoLimit); }

READS_AHEAD const WCHAR* wcschr(const WCHAR* pText, WCHAR uwUnit)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i wanted = EightOf(uwUnit);
    const WCHAR* pBlock = BlockOf(pText);
    for (unsigned uHere = FromHere(pText);; uHere = ~0u, pBlock += kulBlockUnits)
    {
        const __m128i block = LoadAligned(pBlock);
        const unsigned uFound = Mask(_mm_or_si128(_mm_cmpeq_epi16(block, wanted), _mm_cmpeq_epi16(block, zero))) & uHere;
        if (!uFound) continue;
        const WCHAR* pPlace = pBlock + FirstUnit(uFound);
        return *pPlace == uwUnit ? pPlace : nullptr;
    }
}

READS_AHEAD const WCHAR* wcsrchr(const WCHAR* pText, WCHAR uwUnit)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i wanted = EightOf(uwUnit);
    const WCHAR* pPlace = nullptr;
    const WCHAR* pBlock = BlockOf(pText);
    for (unsigned uHere = FromHere(pText);; uHere = ~0u, pBlock += kulBlockUnits)
    {
        const __m128i block = LoadAligned(pBlock);
        const unsigned uZeros = Mask(_mm_cmpeq_epi16(block, zero)) & uHere;
        const unsigned uText = uZeros ? 4 * (uZeros & -uZeros) - 1 : ~0u; // up to and including the terminator
        const unsigned uFound = Mask(_mm_cmpeq_epi16(block, wanted)) & uHere & uText;
        if (uFound) pPlace = pBlock + LastUnit(uFound);
        if (uZeros) return pPlace;
    }
}

// The text's end is looked for in steps that double, a step ahead of the search: a find near the start of a long text
// stays cheap, and the search itself never has to ask where the text ends.
const WCHAR* wcsstr(const WCHAR* pText, const WCHAR* pFind)
{
    const std::size_t ulUnits = wcslen(pFind);
    if (ulUnits == 0) return pText;
    if (ulUnits == 1) return wcschr(pText, *pFind);

    const WCHAR* pFrom = pText;
    const WCHAR* pKnown = pText;
    for (std::size_t ulStep = 256 + ulUnits;; ulStep *= 2)
    {
        const std::size_t ulMore = Length(pKnown, ulStep);
        pKnown += ulMore;
        if (static_cast<std::size_t>(pKnown - pFrom) >= ulUnits)
        {
            const WCHAR* pEnd = pKnown - (ulUnits - 1);
            if (const WCHAR* pPlace = FindBetween(pFrom, pEnd, pFind, ulUnits)) return pPlace;
            pFrom = pEnd;
        }
        if (!*pKnown) return nullptr;
    }
}

const WCHAR* wcspbrk(const WCHAR* pText, const WCHAR* pSet)
{
    pText += wcscspn(pText, pSet);
    return *pText ? pText : nullptr;
}

std::size_t wcsspn(const WCHAR* pText, const WCHAR* pSet)
{
    const UnitSet set(pSet);
    std::size_t ulUnits = 0;
    while (set.Has(pText[ulUnits])) ++ulUnits;
    return ulUnits;
}

std::size_t wcscspn(const WCHAR* pText, const WCHAR* pSet)
{
    const UnitSet set(pSet);
    std::size_t ulUnits = 0;
    while (pText[ulUnits] && !set.Has(pText[ulUnits])) ++ulUnits;
    return ulUnits;
}
