#include "StorageNames.h"

#include "Console.h"
#include "Text.h"

namespace tool
{
static constexpr size_t kuMostUnits = 31; // what a directory entry has room for

// ---- to people

static bool IsFirstHalf(char16_t uwUnit) { return uwUnit >= 0xD800 && uwUnit < 0xDC00; }

static std::string Spelled(char16_t uwUnit)
{
    return Format(uwUnit < 0x100 ? "\\x%02x" : "\\u%04x", static_cast<unsigned>(uwUnit));
}

static bool IsPlain(char16_t uwUnit)
{
    return uwUnit >= 0x20 && (uwUnit < 0x7F || uwUnit > 0x9F) && uwUnit != u'/' && uwUnit != u'\\';
}

std::string StorageName(std::u16string_view sName)
{
    std::string sText;
    while (!sName.empty())
    {
        const auto sCharacter = sName.substr(0, IsFirstHalf(sName[0]) && sName.size() > 1 ? 2 : 1);
        const auto sNarrow = IsPlain(sName[0]) ? NarrowExactly(sCharacter) : std::nullopt;
        sText += sNarrow ? *sNarrow : Spelled(sName[0]);
        sName.remove_prefix(sNarrow ? sCharacter.size() : 1);
    }
    return sText;
}

std::string StorageName(const StoragePath& path)
{
    std::string sText;
    for (const auto& sName : path) sText += (sText.empty() ? "" : "/") + StorageName(sName);
    return sText;
}

// ---- from people

static int Digit(char16_t uw)
{
    constexpr std::u16string_view ksDigits = u"0123456789abcdef0123456789ABCDEF";
    const size_t uAt = ksDigits.find(uw);
    return uAt == ksDigits.npos ? -1 : static_cast<int>(uAt % 16);
}

static Stop NoPath(const std::string& sWord, const std::string& sWhy)
{
    return Stop(kUsage, "'" + Visible(sWord) + "' names no stream or storage: " + sWhy);
}

// The character that a backslash begins; takes it from the text.
static char16_t TakeSpelled(std::u16string_view& sText, const std::string& sWord)
{
    const size_t uDigits = sText.starts_with(u"\\x") ? 2 : sText.starts_with(u"\\u") ? 4 : 0;
    if (!uDigits) throw NoPath(sWord, "names are separated by '/', and '\\' begins a character as \\x05 or \\u4840");
    unsigned uCode = 0;
    sText.remove_prefix(2);
    for (size_t i = 0; i < uDigits; ++i)
    {
        const int iDigit = sText.empty() ? -1 : Digit(sText[0]);
        if (iDigit < 0) throw NoPath(sWord, "\\x takes two hexadecimal digits, and \\u four");
        uCode = uCode * 16 + static_cast<unsigned>(iDigit);
        sText.remove_prefix(1);
    }
    return static_cast<char16_t>(uCode);
}

StoragePath StoragePathOfWord(const std::string& sWord)
{
    const auto sWide = Wide(sWord);
    if (!sWide) throw NoPath(sWord, "it is not valid text in the system's code page");

    StoragePath path;
    std::u16string sName;
    const auto end = [&]
    {
        if (sName.size() > kuMostUnits)
            throw NoPath(sWord, "a name has at most 31 characters, one here has " + std::to_string(sName.size()));
        if (!sName.empty()) path.push_back(std::move(sName));
        sName.clear();
    };
    for (std::u16string_view sRest = *sWide; !sRest.empty();)
    {
        if (sRest[0] == u'\\')
        {
            sName += TakeSpelled(sRest, sWord);
            if (sName.back() == 0) throw NoPath(sWord, "no name has a zero in it");
            continue;
        }
        if (sRest[0] == u'/')
            end();
        else
            sName += sRest[0];
        sRest.remove_prefix(1);
    }
    end();
    return path;
}

void CheckNewName(std::u16string_view sName)
{
    if (sName.find_first_of(u"/\\:!") == sName.npos) return;
    throw Stop(kUsage, "'" + StorageName(sName) + "': no new name can have '/', '\\', ':' or '!' in it");
}
} // namespace tool
