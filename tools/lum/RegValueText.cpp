#include "RegValueText.h"

#include "Console.h"
#include "RegFileTypes.h"
#include "Text.h"

#include <algorithm>
#include <charconv>

namespace tool
{
static_assert(kulTypeText == REG_SZ && kulTypeExpandText == REG_EXPAND_SZ && kulTypeBinary == REG_BINARY);
static_assert(kulTypeDword == REG_DWORD && kulTypeMultiText == REG_MULTI_SZ && kulTypeQword == REG_QWORD);

std::string TypeName(DWORD ulType)
{
    const auto pType = std::ranges::find(kRegTypes, ulType, &RegTypeName::ulType);
    if (pType != std::end(kRegTypes)) return pType->pName;
    return ulType == REG_NONE ? std::string("REG_NONE") : Format("type %u", static_cast<unsigned>(ulType));
}

static std::vector<std::uint8_t> NumberBytes(const std::u16string& sWord, size_t uBytes)
{
    const std::string sNarrow = Utf8(sWord);
    const bool bHex = sNarrow.starts_with("0x") || sNarrow.starts_with("0X");
    const char* pFirst = sNarrow.data() + (bHex ? 2 : 0);
    const char* pEnd = sNarrow.data() + sNarrow.size();
    std::uint64_t ulValue = 0;
    const auto result = std::from_chars(pFirst, pEnd, ulValue, bHex ? 16 : 10);
    const bool bTooBig = uBytes == 4 && ulValue > 0xFFFFFFFF;
    if (result.ec != std::errc() || result.ptr != pEnd || bTooBig)
        throw Stop(kUsage, "'" + sNarrow + "' is no number of " + std::to_string(uBytes * 8) +
                               " bits: write it in decimal, or in hexadecimal after 0x");
    std::vector<std::uint8_t> aubData;
    for (size_t u = 0; u < uBytes; ++u) aubData.push_back(static_cast<std::uint8_t>(ulValue >> (8 * u)));
    return aubData;
}

static std::vector<std::uint8_t> HexBytes(const std::vector<std::u16string>& words)
{
    std::vector<std::uint8_t> aubData;
    for (const auto& sWord : words)
    {
        std::string sDigits = Utf8(sWord);
        std::erase_if(sDigits, [](char c) { return c == ',' || c == ' '; });
        if (sDigits.size() % 2) throw Stop(kUsage, Format("'%s' has half a byte: write two hexadecimal digits for each", sDigits.c_str()));
        for (size_t u = 0; u < sDigits.size(); u += 2)
        {
            std::uint8_t ub = 0;
            const char* pByte = sDigits.data() + u;
            const auto result = std::from_chars(pByte, pByte + 2, ub, 16);
            if (result.ec != std::errc() || result.ptr != pByte + 2)
                throw Stop(kUsage, Format("'%.2s' is no byte: write it as two hexadecimal digits", pByte));
            aubData.push_back(ub);
        }
    }
    return aubData;
}

std::vector<std::uint8_t> DataOfWords(const RegTypeName& type, const std::vector<std::u16string>& words)
{
    if (type.ulType == REG_BINARY) return HexBytes(words);
    if (type.ulType == REG_MULTI_SZ)
    {
        std::u16string sAll;
        for (const auto& sWord : words)
        {
            if (sWord.empty()) throw Stop(kUsage, "an empty text cannot stand in a value of several: it would end them");
            sAll.append(sWord).append(1, u'\0');
        }
        return BytesOfText(sAll);
    }
    if (words.size() != 1)
        throw Stop(kUsage, std::string("a value of type ") + type.pWord + " takes one VALUE, not " + std::to_string(words.size()));
    if (type.ulType == REG_DWORD) return NumberBytes(words[0], 4);
    if (type.ulType == REG_QWORD) return NumberBytes(words[0], 8);
    return BytesOfText(words[0]);
}

static bool IsText(const RegValue& value)
{
    return HoldsText(value.ulType) && value.aubData.size() % 2 == 0;
}

static bool IsNumber(const RegValue& value)
{
    return (value.ulType == REG_DWORD && value.aubData.size() == 4) || (value.ulType == REG_QWORD && value.aubData.size() == 8);
}

static std::uint64_t NumberOf(const RegValue& value)
{
    std::uint64_t ulNumber = 0;
    for (size_t u = value.aubData.size(); u > 0; --u) ulNumber = ulNumber << 8 | value.aubData[u - 1];
    return ulNumber;
}

static std::u16string TextOf(const RegValue& value)
{
    std::u16string sText = UnitsOfBytes(value.aubData);
    if (!sText.empty() && sText.back() == u'\0') sText.pop_back();
    return sText;
}

static std::vector<std::u16string> TextsOf(const RegValue& value)
{
    std::vector<std::u16string> texts;
    const std::u16string sAll = UnitsOfBytes(value.aubData);
    for (size_t uStart = 0; uStart < sAll.size() && sAll[uStart] != u'\0';)
    {
        const size_t uEnd = std::min(sAll.find(u'\0', uStart), sAll.size());
        texts.push_back(sAll.substr(uStart, uEnd - uStart));
        uStart = uEnd + 1;
    }
    return texts;
}

static std::string HexText(const RegValue& value)
{
    std::string sResult;
    for (std::uint8_t ub : value.aubData) sResult += Format(sResult.empty() ? "%02x" : " %02x", ub);
    return sResult;
}

std::vector<std::string> DataTexts(const RegValue& value)
{
    if (IsNumber(value)) return {std::to_string(NumberOf(value))};
    if (!IsText(value)) return {HexText(value)};
    if (value.ulType != REG_MULTI_SZ) return {Narrow(TextOf(value))};

    std::vector<std::string> texts;
    for (const auto& sText : TextsOf(value)) texts.push_back(Narrow(sText));
    return texts;
}

std::string HexNote(const RegValue& value)
{
    return IsNumber(value) ? Format(" (0x%llx)", static_cast<unsigned long long>(NumberOf(value))) : std::string();
}

void AddJson(Json& json, const RegValue& value)
{
    json.Text("name", Utf8(value.sName)).Text("type", TypeName(value.ulType));
    if (IsNumber(value)) json.Raw("data", std::to_string(NumberOf(value)));
    else if (!IsText(value)) json.Text("data", HexText(value));
    else if (value.ulType != REG_MULTI_SZ) json.Text("data", Utf8(TextOf(value)));
    else
    {
        json.BeginArray("data");
        for (const auto& sText : TextsOf(value)) json.Text({}, Utf8(sText));
        json.End();
    }
}
} // namespace tool
