// Equality and order of wide text.
#include "Text.h"

#include "WideScan.h"

#include <algorithm>
#include <immintrin.h>

using namespace lum;

namespace
{
int Order(WCHAR uwA, WCHAR uwB) { return (uwA > uwB) - (uwA < uwB); }

int OrderAt(std::size_t ulUnit, const WCHAR* pA, const WCHAR* pB) { return Order(pA[ulUnit], pB[ulUnit]); }

int Folded(WCHAR uwUnit) { return uwUnit - 'A' + 0u < 26u ? uwUnit + ('a' - 'A') : uwUnit; }

// Zero at every unit where two blocks differ or both end.
READS_AHEAD inline __m128i Common(const WCHAR* pA, const WCHAR* pB)
{
    const __m128i a = Load(pA);
    return _mm_and_si128(_mm_cmpeq_epi16(a, Load(pB)), a);
}

READS_AHEAD inline unsigned Stops(const WCHAR* pA, const WCHAR* pB)
{
    return Mask(_mm_cmpeq_epi16(Common(pA, pB), _mm_setzero_si128()));
}

// How many units, out of ulUnits that may be read, two texts certainly have in common; counted in whole stretches.
READS_AHEAD std::size_t EqualStretch(const WCHAR* pA, const WCHAR* pB, std::size_t ulUnits)
{
    const __m128i zero = _mm_setzero_si128();
    std::size_t ul = 0;
    for (; ul + 4 * kulBlockUnits <= ulUnits; ul += 4 * kulBlockUnits)
    {
        const __m128i stops0 = _mm_cmpeq_epi16(Common(pA + ul, pB + ul), zero);
        const __m128i stops1 = _mm_cmpeq_epi16(Common(pA + ul + 8, pB + ul + 8), zero);
        const __m128i stops2 = _mm_cmpeq_epi16(Common(pA + ul + 16, pB + ul + 16), zero);
        const __m128i stops3 = _mm_cmpeq_epi16(Common(pA + ul + 24, pB + ul + 24), zero);
        if (Mask(_mm_or_si128(_mm_or_si128(stops0, stops1), _mm_or_si128(stops2, stops3)))) break;
    }
    return ul;
}

#define WITH_AVX2 __attribute__((target("avx2")))

READS_AHEAD WITH_AVX2 inline __m256i CommonAvx2(const WCHAR* pA, const WCHAR* pB)
{
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pA));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pB));
    return _mm256_min_epu16(_mm256_cmpeq_epi16(a, b), a);
}

READS_AHEAD WITH_AVX2 std::size_t EqualStretchAvx2(const WCHAR* pA, const WCHAR* pB, std::size_t ulUnits)
{
    std::size_t ul = 0;
    for (; ul + 64 <= ulUnits; ul += 64)
    {
        const __m256i low = _mm256_min_epu16(CommonAvx2(pA + ul, pB + ul), CommonAvx2(pA + ul + 16, pB + ul + 16));
        const __m256i high = _mm256_min_epu16(CommonAvx2(pA + ul + 32, pB + ul + 32), CommonAvx2(pA + ul + 48, pB + ul + 48));
        if (_mm256_movemask_epi8(_mm256_cmpeq_epi16(_mm256_min_epu16(low, high), _mm256_setzero_si256()))) break;
    }
    return ul;
}
} // namespace

READS_AHEAD int wcscmp(const WCHAR* pA, const WCHAR* pB)
{
    constexpr std::size_t kulShort = 4 * kulBlockUnits; // most texts are decided within this
    for (;;)
    {
        const std::size_t ulUnits = std::min(UnitsInPage(pA), UnitsInPage(pB));
        std::size_t ul = 0;
        for (const std::size_t ulFirst = std::min(ulUnits, kulShort); ul + kulBlockUnits <= ulFirst; ul += kulBlockUnits)
        {
            if (const unsigned uStops = Stops(pA + ul, pB + ul)) return OrderAt(FirstUnit(uStops), pA + ul, pB + ul);
        }
        ul += __builtin_cpu_supports("avx2") ? EqualStretchAvx2(pA + ul, pB + ul, ulUnits - ul)
                                             : EqualStretch(pA + ul, pB + ul, ulUnits - ul);
        for (; ul + kulBlockUnits <= ulUnits; ul += kulBlockUnits)
        {
            if (const unsigned uStops = Stops(pA + ul, pB + ul)) return OrderAt(FirstUnit(uStops), pA + ul, pB + ul);
        }
        for (; ul < ulUnits; ++ul) // up to the page's end, unit by unit
        {
            if (pA[ul] != pB[ul] || !pA[ul]) return Order(pA[ul], pB[ul]);
        }
        pA += ulUnits;
        pB += ulUnits;
    }
}

int wcscoll(const WCHAR* pA, const WCHAR* pB) { return wcscmp(pA, pB); }

int wcsncmp(const WCHAR* pA, const WCHAR* pB, std::size_t ulUnits)
{
    for (; ulUnits; --ulUnits, ++pA, ++pB)
    {
        if (*pA != *pB || !*pA) return *pA - *pB;
    }
    return 0;
}

int _wcsicmp(const WCHAR* pA, const WCHAR* pB)
{
    for (; *pA == *pB || Folded(*pA) == Folded(*pB); ++pA, ++pB)
    {
        if (!*pA) return 0;
    }
    return Folded(*pA) - Folded(*pB);
}

int _wcsnicmp(const WCHAR* pA, const WCHAR* pB, std::size_t ulUnits)
{
    for (; ulUnits; --ulUnits, ++pA, ++pB)
    {
        if (Folded(*pA) != Folded(*pB) || !*pA) return Folded(*pA) - Folded(*pB);
    }
    return 0;
}
