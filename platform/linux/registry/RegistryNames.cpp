#include "RegistryNames.h"

#include "../kernel/CodePages.h"

#include <emmintrin.h>

#include <cstring>

namespace lum
{
namespace
{
constexpr bool IsHighHalf(char32_t ulUnit) { return (ulUnit & 0xFC00) == 0xD800; }
constexpr bool IsLowHalf(char32_t ulUnit) { return (ulUnit & 0xFC00) == 0xDC00; }

std::size_t PutPoint(char* pTo, char32_t ulPoint)
{
    if (ulPoint < 0x80)
    {
        pTo[0] = static_cast<char>(ulPoint);
        return 1;
    }
    if (ulPoint < 0x800)
    {
        pTo[0] = static_cast<char>(0xC0 | ulPoint >> 6);
        pTo[1] = static_cast<char>(0x80 | (ulPoint & 0x3F));
        return 2;
    }
    if (ulPoint < 0x10000)
    {
        pTo[0] = static_cast<char>(0xE0 | ulPoint >> 12);
        pTo[1] = static_cast<char>(0x80 | (ulPoint >> 6 & 0x3F));
        pTo[2] = static_cast<char>(0x80 | (ulPoint & 0x3F));
        return 3;
    }
    pTo[0] = static_cast<char>(0xF0 | ulPoint >> 18);
    pTo[1] = static_cast<char>(0x80 | (ulPoint >> 12 & 0x3F));
    pTo[2] = static_cast<char>(0x80 | (ulPoint >> 6 & 0x3F));
    pTo[3] = static_cast<char>(0x80 | (ulPoint & 0x3F));
    return 4;
}

// Writes at most three bytes for each unit. A pair is one character; half of one is written as if it were one.
template <class Map>
std::size_t PutUnits(char* pTo, std::u16string_view sUnits, Map map)
{
    char* const pStart = pTo;
    for (std::size_t i = 0; i < sUnits.size(); ++i)
    {
        char32_t ulPoint = map(sUnits[i]);
        if (IsHighHalf(ulPoint) && i + 1 < sUnits.size() && IsLowHalf(sUnits[i + 1]))
            ulPoint = 0x10000 + ((ulPoint & 0x3FF) << 10) + (sUnits[++i] & 0x3FF);
        pTo += PutPoint(pTo, ulPoint);
    }
    return static_cast<std::size_t>(pTo - pStart);
}

struct Sequence
{
    char32_t ulPoint;
    std::size_t ulBytes;
};

// The character at the start of some bytes; U+FFFD and one byte when there is none.
Sequence TakePoint(std::string_view sBytes)
{
    constexpr Sequence kNone{0xFFFD, 1};
    const auto ubLead = static_cast<unsigned char>(sBytes[0]);
    if (ubLead < 0x80) return {ubLead, 1};
    const std::size_t ulBytes = ubLead >= 0xF0 ? 4 : ubLead >= 0xE0 ? 3 : 2;
    if (ubLead < 0xC2 || ubLead > 0xF4 || sBytes.size() < ulBytes) return kNone;

    char32_t ulPoint = ubLead & (0x7F >> ulBytes);
    for (std::size_t i = 1; i < ulBytes; ++i)
    {
        const auto ubNext = static_cast<unsigned char>(sBytes[i]);
        if ((ubNext & 0xC0) != 0x80) return kNone;
        ulPoint = ulPoint << 6 | (ubNext & 0x3F);
    }
    return {ulPoint, ulBytes};
}

std::uint64_t Mix(std::uint64_t ullA, std::uint64_t ullB)
{
    const unsigned __int128 product = static_cast<unsigned __int128>(ullA) * ullB;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}
} // namespace

void AppendBytes(std::string& sBytes, std::u16string_view sUnits)
{
    const std::size_t ulOld = sBytes.size();
    sBytes.resize(ulOld + 3 * sUnits.size());
    sBytes.resize(ulOld + PutUnits(sBytes.data() + ulOld, sUnits, [](char16_t uwUnit) { return uwUnit; }));
}

std::u16string UnitsFromBytes(std::string_view sBytes)
{
    std::u16string sUnits;
    sUnits.reserve(sBytes.size());
    while (!sBytes.empty())
    {
        const Sequence found = TakePoint(sBytes);
        sBytes.remove_prefix(found.ulBytes);
        if (found.ulPoint < 0x10000)
            sUnits += static_cast<char16_t>(found.ulPoint);
        else
        {
            sUnits += static_cast<char16_t>(0xD800 + ((found.ulPoint - 0x10000) >> 10));
            sUnits += static_cast<char16_t>(0xDC00 + (found.ulPoint & 0x3FF));
        }
    }
    return sUnits;
}

std::u16string UnitsOf(const char* pText)
{
    std::u16string sUnits;
    if (!pText) return sUnits;
    const std::size_t ulBytes = std::strlen(pText);
    sUnits.resize(ulBytes); // no narrow page has characters of more units than bytes
    sUnits.resize(NarrowToWide(pText, ulBytes, reinterpret_cast<WCHAR*>(sUnits.data()), ulBytes).ulMade);
    return sUnits;
}

std::u16string UnitsOf(const WCHAR* pText)
{
    if (!pText) return {};
    return reinterpret_cast<const char16_t*>(pText);
}

std::string FoldUnits(std::u16string_view sUnits)
{
    std::string sFold(3 * sUnits.size(), '\0');
    sFold.resize(PutUnits(sFold.data(), sUnits, UpperUnit));
    return sFold;
}

std::vector<KeyLevel> SplitLevels(std::u16string_view sPath)
{
    std::vector<KeyLevel> levels;
    while (!sPath.empty())
    {
        const std::u16string_view sLevel = sPath.substr(0, sPath.find(u'\\'));
        sPath.remove_prefix(std::min(sLevel.size() + 1, sPath.size()));
        if (sLevel.empty()) continue;
        KeyLevel& level = levels.emplace_back();
        AppendBytes(level.sName, sLevel);
        level.sFold = FoldUnits(sLevel);
    }
    return levels;
}

std::uint64_t HashBytes(const char* pPadded, std::size_t ulBytes, std::uint64_t ullSeed)
{
    constexpr std::uint64_t kullA = 0x9E3779B97F4A7C15u, kullB = 0xD1B54A32D192ED03u;
    std::uint64_t ullHash = ullSeed * kullA ^ ulBytes;
    for (std::size_t i = 0; i < ulBytes; i += 16)
    {
        std::uint64_t aullWords[2];
        std::memcpy(aullWords, pPadded + i, sizeof aullWords);
        ullHash = Mix(aullWords[0] ^ kullA ^ ullHash, aullWords[1] ^ kullB);
    }
    return Mix(ullHash ^ kullB, kullA);
}

FoldedText::FoldedText(std::string_view sStart)
{
    if (sStart.empty()) return;
    std::memcpy(Room(sStart.size()), sStart.data(), sStart.size());
    mulBytes = sStart.size();
}

char* FoldedText::Room(std::size_t ulMore)
{
    const std::size_t ulNeeded = mulBytes + ulMore + kulPadding;
    if (ulNeeded > mulCapacity)
    {
        std::unique_ptr<char[]> pNew(new char[2 * ulNeeded]);
        std::memcpy(pNew.get(), mpText, mulBytes);
        mpHeap = std::move(pNew);
        mpText = mpHeap.get();
        mulCapacity = 2 * ulNeeded;
    }
    return mpText + mulBytes;
}

std::uint64_t FoldedText::Hash(std::uint64_t ullSeed)
{
    std::memset(Room(0), 0, kulPadding);
    return HashBytes(mpText, mulBytes, ullSeed);
}

// The common case, sixteen bytes at a time. false, and nothing added: there are other characters than ASCII or, in a path,
// empty or long levels.
bool FoldedText::AddAscii(const char* pText, std::size_t ulBytes, bool bPath)
{
    if (bPath && ulBytes > kulMaxLevelChars) return false;
    char* pTo = Room(ulBytes + 1);
    if (bPath && mulBytes && ulBytes) *pTo++ = '\\';
    std::memcpy(pTo, pText, ulBytes);
    std::memset(pTo + ulBytes, 0, kulPadding - 1);

    const __m128i below = _mm_set1_epi8('a' - 1), above = _mm_set1_epi8('z' + 1), bit = _mm_set1_epi8(0x20);
    const __m128i slash = _mm_set1_epi8('\\');
    unsigned int uForeign = 0, uDoubled = 0, uLast = 0;
    for (std::size_t i = 0; i < ulBytes; i += 16)
    {
        auto* pBlock = reinterpret_cast<__m128i*>(pTo + i);
        const __m128i text = _mm_loadu_si128(pBlock);
        const __m128i lower = _mm_and_si128(_mm_cmpgt_epi8(text, below), _mm_cmplt_epi8(text, above));
        _mm_storeu_si128(pBlock, _mm_sub_epi8(text, _mm_and_si128(lower, bit)));

        const auto uSlashes = static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(text, slash)));
        uForeign |= static_cast<unsigned int>(_mm_movemask_epi8(text));
        uDoubled |= uSlashes & (uSlashes << 1 | uLast);
        uLast = uSlashes >> 15;
    }
    if (uForeign || (bPath && uDoubled)) return false;

    pTo += ulBytes;
    if (bPath && ulBytes && pTo[-1] == '\\') --pTo;
    mulBytes = static_cast<std::size_t>(pTo - mpText);
    return true;
}

void FoldedText::AddUnits(std::u16string_view sUnits)
{
    mulBytes += PutUnits(Room(3 * sUnits.size()), sUnits, UpperUnit);
}

LSTATUS FoldedText::AddLevels(std::u16string_view sPath, bool bMayLead)
{
    if (sPath.size() > kulMaxPathChars) return ERROR_INVALID_PARAMETER;
    if (!sPath.empty() && sPath[0] == u'\\' && !bMayLead) return ERROR_BAD_PATHNAME;
    while (!sPath.empty())
    {
        const std::u16string_view sLevel = sPath.substr(0, sPath.find(u'\\'));
        sPath.remove_prefix(std::min(sLevel.size() + 1, sPath.size()));
        if (sLevel.empty()) continue;
        if (sLevel.size() > kulMaxLevelChars) return ERROR_INVALID_PARAMETER;
        if (mulBytes) *Room(1) = '\\', ++mulBytes;
        AddUnits(sLevel);
    }
    return ERROR_SUCCESS;
}

LSTATUS FoldedText::AddPath(const char* pPath, bool bMayLead)
{
    if (!pPath) return ERROR_SUCCESS;
    if (*pPath != '\\' && AddAscii(pPath, std::strlen(pPath), true)) return ERROR_SUCCESS;
    return AddLevels(UnitsOf(pPath), bMayLead);
}

LSTATUS FoldedText::AddPath(const WCHAR* pPath, bool bMayLead)
{
    return pPath ? AddLevels(reinterpret_cast<const char16_t*>(pPath), bMayLead) : ERROR_SUCCESS;
}

bool FoldedText::SetName(const char* pName)
{
    mulBytes = 0;
    if (!pName) return true;
    const std::size_t ulBytes = std::strlen(pName);
    if (ulBytes <= kulMaxValueNameChars && AddAscii(pName, ulBytes, false)) return true;
    const std::u16string sUnits = UnitsOf(pName);
    if (sUnits.size() > kulMaxValueNameChars) return false;
    AddUnits(sUnits);
    return true;
}

bool FoldedText::SetName(const WCHAR* pName)
{
    mulBytes = 0;
    if (!pName) return true;
    const std::u16string_view sUnits = reinterpret_cast<const char16_t*>(pName);
    if (sUnits.size() > kulMaxValueNameChars) return false;
    AddUnits(sUnits);
    return true;
}
} // namespace lum
