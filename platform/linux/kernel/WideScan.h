// Steps of eight units through wide text. Internal to the wide-text calls.
//
// A text ends where its zero is, so a step may read past the zero. It never leaves the 16-byte block or the page that it
// began in and so cannot fault; the sanitizers would still object, hence READS_AHEAD.
#pragma once

#include "Types.h"

#include <bit>
#include <emmintrin.h>

#define READS_AHEAD __attribute__((no_sanitize("address", "thread")))

namespace lum
{
constexpr std::size_t kulBlockUnits = 8;

READS_AHEAD inline __m128i LoadAligned(const WCHAR* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }
READS_AHEAD inline __m128i Load(const WCHAR* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

inline __m128i EightOf(WCHAR uwUnit) { return _mm_set1_epi16(static_cast<short>(uwUnit)); }

// What a comparison found in a block: two bits for each unit.
inline unsigned Mask(__m128i found) { return static_cast<unsigned>(_mm_movemask_epi8(found)); }
inline std::size_t FirstUnit(std::uint64_t ulMask) { return static_cast<std::size_t>(std::countr_zero(ulMask)) / 2; }
inline std::size_t LastUnit(unsigned uMask) { return (31u - static_cast<unsigned>(std::countl_zero(uMask))) / 2; }

// The aligned block that holds p, and the bits of its masks that belong to p and what follows.
inline const WCHAR* BlockOf(const WCHAR* p)
{
    return reinterpret_cast<const WCHAR*>(reinterpret_cast<std::uintptr_t>(p) & ~(sizeof(__m128i) - 1));
}
inline unsigned FromHere(const WCHAR* p) { return ~0u << (reinterpret_cast<std::uintptr_t>(p) & (sizeof(__m128i) - 1)); }

// How many units of p's page there are from p on.
inline std::size_t UnitsInPage(const WCHAR* p)
{
    constexpr std::uintptr_t kulPage = 4096;
    return (kulPage - (reinterpret_cast<std::uintptr_t>(p) & (kulPage - 1))) / sizeof(WCHAR);
}
} // namespace lum
