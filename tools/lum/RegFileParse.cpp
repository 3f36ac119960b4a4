// From the bytes of a .reg file to its operations.
#include "RegFile.h"
#include "RegFileLines.h"
#include "RegFileTypes.h"
#include "Text.h"

#include <algorithm>
#include <optional>

namespace tool
{
static int HexDigit(char16_t c)
{
    if (c >= u'0' && c <= u'9') return c - u'0';
    if (c >= u'a' && c <= u'f') return c - u'a' + 10;
    if (c >= u'A' && c <= u'F') return c - u'A' + 10;
    return -1;
}

static std::string Shown(std::u16string_view sText)
{
    if (sText.empty()) return "the end of the line";
    return "'" + Utf8(sText.substr(0, 40)) + (sText.size() > 40 ? "...'" : "'");
}

class RegFileParser
{
public:
    explicit RegFileParser(std::string_view sBytes) : mLines(sBytes) {}
    std::vector<RegOperation> Parse();

private:
    void ReadHeader();
    void ReadKey();
    void ReadEntry();
    void ReadData(RegOperation& operation);
    void ReadDword(RegOperation& operation);
    void ReadHex(RegOperation& operation);
    void ReadBytes(RegOperation& operation);
    void NarrowTextToWide(RegOperation& operation);
    std::u16string ReadQuoted();
    std::optional<std::uint32_t> ReadHexNumber(size_t uMaxDigits);

    // The cursor within the line.
    bool AtEnd() const { return msRest.empty() || msRest.front() == u';'; }
    void SkipBlanks() { msRest.remove_prefix(std::min(msRest.find_first_not_of(u" \t"), msRest.size())); }
    bool Take(std::u16string_view sText);
    void TakeContinuation();
    void ExpectEnd();
    [[noreturn]] void Expected(const std::string& sWhat) const { Fail("found " + Shown(msRest) + ", expected " + sWhat); }
    [[noreturn]] void Fail(const std::string& sWhat) const { throw RegFileError(mLines.Number(), sWhat); }

    enum class Below { Nothing, Key, DeletedKey };

    RegFileLines mLines;
    RegFileVersion meVersion = RegFileVersion::Unicode5;
    Below meBelow = Below::Nothing;
    std::u16string_view msRest;
    std::vector<RegOperation> mOperations;
};

std::vector<RegOperation> RegFileParser::Parse()
{
    ReadHeader();
    while (mLines.Next())
    {
        msRest = mLines.Line();
        if (AtEnd()) continue;
        if (msRest.front() == u'[') ReadKey();
        else if (msRest.front() == u'"' || msRest.front() == u'@') ReadEntry();
        else Expected("a [key], a \"name\"=value, an @=value, a ;comment or an empty line");
    }
    return std::move(mOperations);
}

void RegFileParser::ReadHeader()
{
    if (!mLines.Next()) throw RegFileError(1, "the file is empty, expected \"Windows Registry Editor Version 5.00\" or \"REGEDIT4\"");
    msRest = mLines.Line();
    if (msRest == kpHeader4) meVersion = RegFileVersion::Ansi4;
    else if (msRest != kpHeader5) Expected("\"Windows Registry Editor Version 5.00\" or \"REGEDIT4\"");
}

void RegFileParser::ReadKey()
{
    // A name may hold brackets, so the last one closes it; a comment behind it could not be told from the name.
    if (msRest.back() != u']') Expected("a key that ends its line with ']'");
    std::u16string_view sName = msRest.substr(1, msRest.size() - 2);
    if (LooksCommented(sName)) Fail("a comment stands behind a key: give it a line of its own");

    const bool bDelete = sName.starts_with(u'-');
    if (bDelete) sName.remove_prefix(1);
    RegKeyName key;
    const std::string sWrong = FindRegKeyName(sName, key);
    if (!sWrong.empty()) Fail(sWrong);
    if (bDelete && key.sPath.empty()) Fail("a root key cannot be deleted");

    meBelow = bDelete ? Below::DeletedKey : Below::Key;
    mOperations.push_back({bDelete ? RegOperation::Kind::DeleteKey : RegOperation::Kind::CreateKey, mLines.Number(),
                           std::move(key), {}, 0, {}});
}

void RegFileParser::ReadEntry()
{
    if (meBelow == Below::Nothing) Fail("a value stands before the first [key]");
    if (meBelow == Below::DeletedKey) Fail("a value stands below a key that is deleted");

    RegOperation operation{RegOperation::Kind::SetValue, mLines.Number(), {}, {}, 0, {}};
    if (!Take(u"@")) operation.sValue = ReadQuoted();
    if (operation.sValue.size() > kuMaxValueNameUnits)
        Fail("a value's name has " + std::to_string(operation.sValue.size()) + " characters, the longest possible is " +
             std::to_string(kuMaxValueNameUnits));
    SkipBlanks();
    if (!Take(u"=")) Expected("'='");
    SkipBlanks();
    ReadData(operation);
    ExpectEnd();
    mOperations.push_back(std::move(operation));
}

void RegFileParser::ReadData(RegOperation& operation)
{
    if (msRest.starts_with(u'"'))
    {
        operation.ulType = kulTypeText;
        operation.aubData = BytesOfText(ReadQuoted());
        return;
    }
    if (Take(u"-"))
    {
        operation.eKind = RegOperation::Kind::DeleteValue;
        return;
    }
    if (Take(u"dword:")) return ReadDword(operation);
    if (Take(u"hex")) return ReadHex(operation);
    Expected("\"text\", dword:, hex:, hex(type): or -");
}

void RegFileParser::ReadDword(RegOperation& operation)
{
    SkipBlanks();
    const auto ulValue = ReadHexNumber(8);
    if (!ulValue) Expected("one to eight hexadecimal digits");
    operation.ulType = kulTypeDword;
    for (unsigned uShift = 0; uShift < 32; uShift += 8) operation.aubData.push_back(static_cast<std::uint8_t>(*ulValue >> uShift));
}

void RegFileParser::ReadHex(RegOperation& operation)
{
    operation.ulType = kulTypeBinary;
    if (Take(u"("))
    {
        const auto ulType = ReadHexNumber(8);
        if (!ulType) Expected("the number of a type, one to eight hexadecimal digits");
        operation.ulType = *ulType;
        if (!Take(u")")) Expected("')'");
    }
    if (!Take(u":")) Expected("':'");
    ReadBytes(operation);
    if (meVersion == RegFileVersion::Ansi4 && HoldsText(operation.ulType)) NarrowTextToWide(operation);
}

void RegFileParser::ReadBytes(RegOperation& operation)
{
    TakeContinuation();
    if (AtEnd()) return;
    for (;;)
    {
        const auto ulByte = ReadHexNumber(2);
        if (!ulByte) Expected("a byte, one or two hexadecimal digits");
        operation.aubData.push_back(static_cast<std::uint8_t>(*ulByte));
        TakeContinuation();
        if (AtEnd()) return;
        if (!Take(u",")) Expected("',' or '\\'");
        TakeContinuation();
    }
}

void RegFileParser::NarrowTextToWide(RegOperation& operation)
{
    const auto& aubData = operation.aubData;
    const auto sWide = Wide({reinterpret_cast<const char*>(aubData.data()), aubData.size()});
    if (!sWide) Fail("the bytes are not text in the system's code page");
    operation.aubData = BytesOfUnits(*sWide);
}

std::u16string RegFileParser::ReadQuoted()
{
    if (!Take(u"\"")) Expected("'\"'");
    std::u16string sResult;
    while (!Take(u"\""))
    {
        if (msRest.empty()) Fail("the closing '\"' is missing");
        if (Take(u"\\") && (msRest.empty() || (msRest.front() != u'\\' && msRest.front() != u'"')))
            Expected("'\\\\' or '\\\"' (inside quotes a backslash is written twice)");
        sResult += msRest.front();
        msRest.remove_prefix(1);
    }
    return sResult;
}

std::optional<std::uint32_t> RegFileParser::ReadHexNumber(size_t uMaxDigits)
{
    std::uint32_t ulValue = 0;
    size_t uDigits = 0;
    for (; uDigits < msRest.size() && HexDigit(msRest[uDigits]) >= 0; ++uDigits)
    {
        if (uDigits == uMaxDigits) return std::nullopt;
        ulValue = ulValue << 4 | static_cast<std::uint32_t>(HexDigit(msRest[uDigits]));
    }
    if (uDigits == 0) return std::nullopt;
    msRest.remove_prefix(uDigits);
    return ulValue;
}

bool RegFileParser::Take(std::u16string_view sText)
{
    if (!msRest.starts_with(sText)) return false;
    msRest.remove_prefix(sText.size());
    return true;
}

void RegFileParser::TakeContinuation()
{
    SkipBlanks();
    while (Take(u"\\"))
    {
        ExpectEnd();
        if (!mLines.Next()) Fail("the file ends inside a value, after '\\'");
        msRest = mLines.Line();
        if (AtEnd()) Expected("the bytes that '\\' on the line before promises");
    }
}

void RegFileParser::ExpectEnd()
{
    SkipBlanks();
    if (!AtEnd()) Expected("the end of the line");
}

std::vector<RegOperation> ParseRegFile(std::string_view sBytes) { return RegFileParser(sBytes).Parse(); }
} // namespace tool
