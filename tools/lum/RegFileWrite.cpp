// From keys and values to the bytes of a .reg file.
#include "RegFile.h"
#include "RegFileTypes.h"
#include "Text.h"

#include <cstdio>
#include <optional>

namespace tool
{
static constexpr size_t kuLastColumn = 76; // a byte that would start behind it goes to the next line

static std::u16string Ascii(std::string_view sText) { return {sText.begin(), sText.end()}; }

static bool FitsInQuotes(std::u16string_view sText) { return sText.find_first_of(std::u16string_view(u"\r\n\0", 3)) == sText.npos; }

static std::u16string Quoted(std::u16string_view sText)
{
    std::u16string sResult(1, u'"');
    for (char16_t c : sText)
    {
        if (c == u'"' || c == u'\\') sResult += u'\\';
        sResult += c;
    }
    return sResult += u'"';
}

RegFileWriter::RegFileWriter(RegFileVersion eVersion) : meVersion(eVersion)
{
    if (eVersion == RegFileVersion::Unicode5) msBytes = "\xFF\xFE";
    AddLine(eVersion == RegFileVersion::Unicode5 ? kpHeader5 : kpHeader4);
    AddLine({});
}

void RegFileWriter::AddKey(const RegKeyName& key)
{
    if (mbInKey) AddLine({});
    mbInKey = true;
    msKey = FullName(key);
    if (!FitsInQuotes(msKey) || LooksCommented(msKey)) throw Inexpressible("its name");
    AddLine(u"[" + msKey + u"]");
}

void RegFileWriter::AddValue(std::u16string_view sName, std::uint32_t ulType, const std::vector<std::uint8_t>& aubData)
{
    if (!FitsInQuotes(sName)) throw Inexpressible("the name of its value '" + Utf8(sName) + "'");

    std::u16string sLine = (sName.empty() ? std::u16string(u"@") : Quoted(sName)) + u"=";
    if (ulType == kulTypeDword && aubData.size() == 4)
    {
        char aDigits[9];
        std::snprintf(aDigits, sizeof aDigits, "%02x%02x%02x%02x", aubData[3], aubData[2], aubData[1], aubData[0]);
        return AddLine(sLine + u"dword:" + Ascii(aDigits));
    }
    if (ulType == kulTypeText && aubData.size() % 2 == 0)
    {
        const std::u16string sText = UnitsOfBytes(aubData);
        const bool bClosed = !sText.empty() && sText.back() == u'\0';
        if (bClosed && FitsInQuotes({sText.data(), sText.size() - 1}))
            return AddLine(sLine + Quoted({sText.data(), sText.size() - 1}));
    }
    AddHex(std::move(sLine), ulType, StoredForm(sName, ulType, aubData));
}

std::vector<std::uint8_t> RegFileWriter::StoredForm(std::u16string_view sName, std::uint32_t ulType,
                                                    const std::vector<std::uint8_t>& aubData) const
{
    if (meVersion == RegFileVersion::Unicode5 || !HoldsText(ulType)) return aubData;

    const auto sNarrow = aubData.size() % 2 ? std::nullopt : NarrowExactly(UnitsOfBytes(aubData));
    if (!sNarrow) throw Inexpressible("the text of its value '" + Utf8(sName) + "'");
    return {sNarrow->begin(), sNarrow->end()};
}

void RegFileWriter::AddHex(std::u16string sLine, std::uint32_t ulType, const std::vector<std::uint8_t>& aubData)
{
    char aText[16] = "hex:";
    if (ulType != kulTypeBinary) std::snprintf(aText, sizeof aText, "hex(%x):", ulType);
    sLine += Ascii(aText);

    bool bFirst = true;
    for (std::uint8_t ub : aubData)
    {
        if (!bFirst)
        {
            sLine += u',';
            if (sLine.size() > kuLastColumn)
            {
                AddLine(sLine + u'\\');
                sLine = u"  ";
            }
        }
        bFirst = false;
        std::snprintf(aText, sizeof aText, "%02x", ub);
        sLine += Ascii(aText);
    }
    AddLine(sLine);
}

void RegFileWriter::AddLine(std::u16string_view sLine)
{
    if (meVersion == RegFileVersion::Ansi4)
    {
        const auto sNarrow = NarrowExactly(sLine);
        if (!sNarrow) throw Inexpressible("the line '" + Utf8(sLine) + "'");
        msBytes += *sNarrow;
        msBytes += "\r\n";
        return;
    }
    for (std::u16string_view sPart : {sLine, std::u16string_view(u"\r\n")})
    {
        for (char16_t c : sPart)
        {
            msBytes += static_cast<char>(c & 0xFF);
            msBytes += static_cast<char>(c >> 8);
        }
    }
}

std::runtime_error RegFileWriter::Inexpressible(const std::string& sWhat) const
{
    std::string sText = "the key " + Utf8(msKey) + " cannot be written: the format has no way to express " + sWhat;
    if (meVersion == RegFileVersion::Ansi4) sText += " (version 4 is limited to the system's code page: try version 5)";
    return std::runtime_error(sText);
}

std::string RegFileWriter::TakeBytes()
{
    if (mbInKey) AddLine({});
    mbInKey = false;
    return std::move(msBytes);
}
} // namespace tool
