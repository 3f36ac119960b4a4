// Names as the registry finds them: upper-cased, and as bytes. Internal to platform/linux.
//
//  * A name's folded form is its units in upper case, written as UTF-8 in which half a surrogate pair may stand alone; the
//    order of these bytes is the order of enumeration. A path's folded form joins its levels with single backslashes.
//  * The case table is part of the store's format: names that are one today stay one.
#pragma once

#include "Registry.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lum
{
constexpr ULONG kulMaxLevelChars = 255;
constexpr ULONG kulMaxValueNameChars = 16383;
constexpr ULONG kulMaxPathChars = 32767;

char16_t UpperUnit(char16_t uwUnit);

// The units of text as UTF-8 (half pairs alone included), and back. What is not such UTF-8 comes back as U+FFFD.
void AppendBytes(std::string& sBytes, std::u16string_view sUnits);
std::u16string UnitsFromBytes(std::string_view sBytes);

// The units of a zero-terminated narrow or wide text; null is an empty one.
std::u16string UnitsOf(const char* pText);
std::u16string UnitsOf(const WCHAR* pText);

std::uint64_t HashBytes(const char* pPadded, std::size_t ulBytes, std::uint64_t ullSeed); // 16 readable bytes must follow

// A folded name or path under construction. Short ones, which is nearly all, live on the stack.
class FoldedText
{
public:
    explicit FoldedText(std::string_view sStart = {});
    FoldedText(const FoldedText&) = delete;
    FoldedText& operator=(const FoldedText&) = delete;

    // Adds the levels of a path. bMayLead: one backslash in front is tolerated.
    //   Errors: ERROR_BAD_PATHNAME (begins with a backslash), ERROR_INVALID_PARAMETER (a level or the whole is too long).
    LSTATUS AddPath(const char* pPath, bool bMayLead);
    LSTATUS AddPath(const WCHAR* pPath, bool bMayLead);

    // Makes it the folded form of a value's name; null is the empty name. false: longer than any value's name.
    bool SetName(const char* pName);
    bool SetName(const WCHAR* pName);

    std::string_view View() const { return {mpText, mulBytes}; }
    std::uint64_t Hash(std::uint64_t ullSeed); // writes padding behind the text

private:
    char* Room(std::size_t ulMore); // where the next bytes go; room for as many and for padding
    bool AddAscii(const char* pText, std::size_t ulBytes, bool bPath);
    LSTATUS AddLevels(std::u16string_view sPath, bool bMayLead);
    void AddUnits(std::u16string_view sUnits);

    static constexpr std::size_t kulInline = 480;
    static constexpr std::size_t kulPadding = 16;
    std::unique_ptr<char[]> mpHeap;
    char* mpText = maInline;
    std::size_t mulBytes = 0;
    std::size_t mulCapacity = kulInline;
    char maInline[kulInline]; // not initialised: most of it is never looked at
};

// One level of a path: as it was spelled and as it is found.
struct KeyLevel
{
    std::string sName;
    std::string sFold;
};

// SplitLevels: the levels of a path that FoldedText took.
std::vector<KeyLevel> SplitLevels(std::u16string_view sPath);

// FoldUnits: the folded form of one name.
std::string FoldUnits(std::u16string_view sUnits);
} // namespace lum
