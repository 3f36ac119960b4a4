// The exchange format: what is read, what is refused and why, what is written.
#include "RegFile.h"
#include "RegFileTypes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace
{
using namespace tool;
using Kind = RegOperation::Kind;
using Bytes = std::vector<std::uint8_t>;

const RegKeyName kLumKey{0, u"Software\\Lum"};

std::string Utf16File(std::u16string_view sText)
{
    std::string sBytes = "\xFF\xFE";
    for (char16_t c : sText)
    {
        sBytes += static_cast<char>(c & 0xFF);
        sBytes += static_cast<char>(c >> 8);
    }
    return sBytes;
}

std::string Version5(std::u16string_view sBody)
{
    return Utf16File(u"Windows Registry Editor Version 5.00\r\n\r\n[HKLM\\Software\\Lum]\r\n" + std::u16string(sBody));
}

std::string Version4(std::string_view sBody) { return "REGEDIT4\r\n\r\n[HKLM\\Software\\Lum]\r\n" + std::string(sBody); }

// The one value of a file that has one.
RegOperation OnlyValue(const std::string& sFile)
{
    const auto operations = ParseRegFile(sFile);
    EXPECT_EQ(operations.size(), 2u);
    return operations.size() == 2 ? operations[1] : RegOperation{};
}

std::string Rewrite(const std::vector<RegOperation>& operations, RegFileVersion eVersion)
{
    RegFileWriter writer(eVersion);
    for (const auto& operation : operations)
    {
        if (operation.eKind == Kind::CreateKey) writer.AddKey(operation.key);
        else writer.AddValue(operation.sValue, operation.ulType, operation.aubData);
    }
    return writer.TakeBytes();
}

std::string ReadBack(const char* pName)
{
    std::ifstream file(std::string(LUM_TEST_DATA "/") + pName, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void ExpectSameOperations(const std::vector<RegOperation>& left, const std::vector<RegOperation>& right)
{
    ASSERT_EQ(left.size(), right.size());
    for (size_t u = 0; u < left.size(); ++u)
    {
        EXPECT_EQ(left[u].eKind, right[u].eKind) << u;
        EXPECT_EQ(left[u].key, right[u].key) << u;
        EXPECT_EQ(left[u].sValue, right[u].sValue) << u;
        EXPECT_EQ(left[u].ulType, right[u].ulType) << u;
        EXPECT_EQ(left[u].aubData, right[u].aubData) << u;
    }
}

// ---- reading

TEST(RegFile, AKeyIsReadWithItsRootInEitherForm)
{
    for (const char16_t* pRoot : {u"HKLM", u"HKEY_LOCAL_MACHINE", u"hklm", u"Hkey_Local_Machine"})
    {
        const auto operations = ParseRegFile(
            Utf16File(u"Windows Registry Editor Version 5.00\r\n[" + std::u16string(pRoot) + u"\\Software\\Lum]\r\n"));
        ASSERT_EQ(operations.size(), 1u);
        EXPECT_EQ(operations[0].eKind, Kind::CreateKey);
        EXPECT_EQ(operations[0].key, kLumKey);
        EXPECT_EQ(operations[0].uLine, 2u);
    }
}

TEST(RegFile, EveryRootHasItsPlaceInTheTable)
{
    for (size_t u = 0; u < std::size(kRegRoots); ++u)
    {
        RegKeyName longName, shortName;
        const std::string_view sLong = kRegRoots[u].pLong, sShort = kRegRoots[u].pShort;
        EXPECT_EQ(FindRegKeyName(std::u16string(sLong.begin(), sLong.end()) + u"\\a", longName), "");
        EXPECT_EQ(FindRegKeyName(std::u16string(sShort.begin(), sShort.end()) + u"\\a", shortName), "");
        EXPECT_EQ(longName, (RegKeyName{u, u"a"}));
        EXPECT_EQ(shortName, longName);
    }
}

TEST(RegFile, TextEndsInAZeroAndItsEscapesAreTakenOut)
{
    const auto value = OnlyValue(Version5(u"\"a\\\\b\"=\"x\\\\y \\\"q\\\" ; z\"\r\n"));
    EXPECT_EQ(value.sValue, u"a\\b");
    EXPECT_EQ(value.ulType, kulTypeText);
    EXPECT_EQ(value.aubData, BytesOfText(u"x\\y \"q\" ; z"));
}

TEST(RegFile, AnAtSignIsTheDefaultValue)
{
    const auto value = OnlyValue(Version5(u"@=\"text\"\r\n"));
    EXPECT_EQ(value.sValue, u"");
    EXPECT_EQ(value.aubData, BytesOfText(u"text"));
}

TEST(RegFile, ADwordIsLittleEndianData)
{
    const auto value = OnlyValue(Version5(u"\"d\"=dword:0000A1b2\r\n"));
    EXPECT_EQ(value.ulType, kulTypeDword);
    EXPECT_EQ(value.aubData, (Bytes{0xB2, 0xA1, 0, 0}));
}

TEST(RegFile, BytesMayHaveAnyTypeAndAnyLength)
{
    EXPECT_EQ(OnlyValue(Version5(u"\"b\"=hex:01,fF,3\r\n")).aubData, (Bytes{1, 0xFF, 3}));
    EXPECT_EQ(OnlyValue(Version5(u"\"b\"=hex:\r\n")).aubData, Bytes{});
    EXPECT_EQ(OnlyValue(Version5(u"\"b\"=hex(b):01,02,03,04,05,06,07,08\r\n")).ulType, kulTypeQword);
    EXPECT_EQ(OnlyValue(Version5(u"\"b\"=hex(0):01\r\n")).ulType, 0u);
    EXPECT_EQ(OnlyValue(Version5(u"\"b\"=hex(ffff0003):01\r\n")).ulType, 0xFFFF0003u);
}

TEST(RegFile, BytesGoOnBehindABackslashAndRemarksMayStandBehindIt)
{
    const auto value = OnlyValue(Version5(u"\"b\"=hex:\\\r\n  01,\\ ; first\r\n\t02\\\r\n,03 ; last\r\n"));
    EXPECT_EQ(value.aubData, (Bytes{1, 2, 3}));
}

TEST(RegFile, DeletionsAreReadForKeysAndValues)
{
    const auto operations = ParseRegFile(Version5(u"\"gone\"=-\r\n@ = -\r\n[-HKCU\\Software\\Old]\r\n"));
    ASSERT_EQ(operations.size(), 4u);
    EXPECT_EQ(operations[1].eKind, Kind::DeleteValue);
    EXPECT_EQ(operations[1].sValue, u"gone");
    EXPECT_EQ(operations[2].eKind, Kind::DeleteValue);
    EXPECT_EQ(operations[2].sValue, u"");
    EXPECT_EQ(operations[3].eKind, Kind::DeleteKey);
    EXPECT_EQ(operations[3].key, (RegKeyName{1, u"Software\\Old"}));
}

TEST(RegFile, RemarksBlanksAndEmptyLinesMeanNothing)
{
    const auto operations = ParseRegFile(Version5(u"\r\n   ; a remark\r\n\t \"a\" = dword:1 ; one\r\n;\r\n"));
    ASSERT_EQ(operations.size(), 2u);
    EXPECT_EQ(operations[1].uLine, 6u);
}

TEST(RegFile, TheLastLineNeedsNoEnd)
{
    EXPECT_EQ(OnlyValue(Version5(u"\"a\"=\"b\"")).aubData, BytesOfText(u"b"));
    EXPECT_EQ(OnlyValue(Version4("\"a\"=\"b\"")).aubData, BytesOfText(u"b"));
}

TEST(RegFile, VersionFourKeepsTheBytesOfTextInTheCodePage)
{
    const auto value = OnlyValue(Version4("\"e\"=hex(2):25,50,00\r\n"));
    EXPECT_EQ(value.ulType, kulTypeExpandText);
    EXPECT_EQ(value.aubData, BytesOfText(u"%P"));
    EXPECT_EQ(OnlyValue(Version4("\"b\"=hex:25,50\r\n")).aubData, (Bytes{0x25, 0x50}));
}

TEST(RegFile, VersionFiveMayComeAsUtf8WithAndWithoutItsMark)
{
    const std::string sText = "Windows Registry Editor Version 5.00\n[HKLM\\Software\\Lum]\n\"\xC3\xBC\"=\"\xE2\x82\xAC\"\n";
    for (const std::string& sFile : {sText, "\xEF\xBB\xBF" + sText})
    {
        const auto value = OnlyValue(sFile);
        EXPECT_EQ(value.sValue, u"\u00FC");
        EXPECT_EQ(value.aubData, BytesOfText(u"\u20AC"));
    }
}

TEST(RegFile, NamesMayHoldBracketsAndAreKeptAsTheyAre)
{
    const auto operations = ParseRegFile(Utf16File(u"Windows Registry Editor Version 5.00\r\n[HKLM\\a[1] ]\\ b]\r\n"));
    ASSERT_EQ(operations.size(), 1u);
    EXPECT_EQ(operations[0].key.sPath, u"a[1] ]\\ b");
}

// ---- what is refused: the line, and a word of the reason

struct BadBody
{
    const char16_t* pBody; // stands behind the header and a key, from line 4 on
    size_t uLine;
    const char* pReason;
};

class BadRegFile : public testing::TestWithParam<BadBody>
{
};

TEST_P(BadRegFile, IsAnErrorThatNamesItsLineAndReason)
{
    try
    {
        ParseRegFile(Version5(GetParam().pBody));
        FAIL() << "no error";
    }
    catch (const RegFileError& error)
    {
        EXPECT_EQ(error.Line(), GetParam().uLine) << error.what();
        EXPECT_NE(std::string(error.what()).find(GetParam().pReason), std::string::npos) << error.what();
        EXPECT_TRUE(std::string(error.what()).starts_with("line " + std::to_string(GetParam().uLine) + ": ")) << error.what();
    }
}

const BadBody kBadBodies[] = {
    {u"nonsense\r\n", 4, "found 'nonsense', expected a [key]"},
    {u"\r\n\"a\"\r\n", 5, "expected '='"},
    {u"\"a\"=text\r\n", 4, "found 'text', expected \"text\", dword:"},
    {u"\"a\"=\r\n", 4, "found the end of the line"},
    {u"\"a\r\n", 4, "closing '\"' is missing"},
    {u"\"a\"=\"b\r\nc\"\r\n", 4, "closing '\"' is missing"},
    {u"\"a\"=\"C:\\temp\"\r\n", 4, "a backslash is written twice"},
    {u"\"a\"=\"b\" c\r\n", 4, "found 'c', expected the end of the line"},
    {u"\"a\"=dword:\r\n", 4, "one to eight hexadecimal digits"},
    {u"\"a\"=dword:123456789\r\n", 4, "one to eight hexadecimal digits"},
    {u"\"a\"=dword:12g\r\n", 4, "found 'g', expected the end of the line"},
    {u"\"a\"=dword 1\r\n", 4, "found 'dword 1'"},
    {u"\"a\"=hex:0g\r\n", 4, "found 'g', expected ','"},
    {u"\"a\"=hex:123\r\n", 4, "expected a byte"},
    {u"\"a\"=hex:01,\r\n", 4, "found the end of the line, expected a byte"},
    {u"\"a\"=hex:,01\r\n", 4, "expected a byte"},
    {u"\"a\"=hex(:01\r\n", 4, "expected the number of a type"},
    {u"\"a\"=hex(123456789):01\r\n", 4, "expected the number of a type"},
    {u"\"a\"=hex(2:01\r\n", 4, "expected ')'"},
    {u"\"a\"=hex01\r\n", 4, "expected ':'"},
    {u"\"a\"=hex:01,\\\r\n", 5, "the file ends inside a value"},
    {u"\"a\"=hex:01,\\\r\n\r\n\"b\"=hex:02\r\n", 5, "found the end of the line"},
    {u"\"a\"=hex:01,\\\r\n  zz\r\n", 5, "found 'zz', expected a byte"},
    {u"\"a\"=hex:01,\\ 02\r\n", 4, "found '02', expected the end of the line"},
    {u"\"a\"=- 1\r\n", 4, "expected the end of the line"},
    {u"[HKLM\\Software\\Lum\r\n", 4, "ends its line with ']'"},
    {u"[HKLM\\Software\\Lum] ; remark\r\n", 4, "ends its line with ']'"},
    {u"[HKLM\\Software\\Lum] ; [remark]\r\n", 4, "line of its own"},
    {u"[Software\\Lum]\r\n", 4, "no root key has the name 'Software'"},
    {u"[]\r\n", 4, "no root key has the name ''"},
    {u"[HKLM\\a\\\\b]\r\n", 4, "an empty name"},
    {u"[HKLM\\a\\]\r\n", 4, "an empty name"},
    {u"[-HKLM]\r\n", 4, "a root key cannot be deleted"},
    {u"[-HKLM\\Old]\r\n\"a\"=\"b\"\r\n", 5, "below a key that is deleted"},
};
INSTANTIATE_TEST_SUITE_P(RegFile, BadRegFile, testing::ValuesIn(kBadBodies));

void ExpectRefused(const std::string& sFile, size_t uLine, const char* pReason)
{
    try
    {
        ParseRegFile(sFile);
        FAIL() << "no error";
    }
    catch (const RegFileError& error)
    {
        EXPECT_EQ(error.Line(), uLine) << error.what();
        EXPECT_NE(std::string(error.what()).find(pReason), std::string::npos) << error.what();
    }
}

TEST(RegFile, AFileWithoutItsHeaderIsRefused)
{
    ExpectRefused("", 1, "the file is empty");
    ExpectRefused("\xFF\xFE", 1, "the file is empty");
    ExpectRefused("\r\nREGEDIT4\r\n", 1, "expected \"Windows Registry Editor Version 5.00\"");
    ExpectRefused("REGEDIT\r\n", 1, "found 'REGEDIT'");
    ExpectRefused("Windows Registry Editor Version 6.00\r\n", 1, "found 'Windows Registry Editor Version 6.00'");
}

TEST(RegFile, AValueBeforeTheFirstKeyIsRefused)
{
    ExpectRefused("REGEDIT4\r\n\"a\"=\"b\"\r\n", 2, "before the first [key]");
}

TEST(RegFile, DamagedCodingsAreRefusedWithTheirLine)
{
    ExpectRefused(Version5(u"\"a\"=\"b\"\r\n") + "x", 5, "ends inside a character");
    ExpectRefused("\xFE\xFF", 1, "big-endian");
    ExpectRefused("\xEF\xBB\xBFWindows Registry Editor Version 5.00\n;\xC3\n", 2, "not valid UTF-8");
    ExpectRefused(Version5(std::u16string_view(u"\"a\"=\"b\0c\"\r\n", 11)), 4, "a zero character");
    ExpectRefused(std::string("REGEDIT4\r\n\0\r\n", 13), 2, "a zero character");
}

TEST(RegFile, NamesHaveTheLengthsThatTheRegistryAllows)
{
    const auto KeyOf = [](size_t uUnits) {
        return Utf16File(u"Windows Registry Editor Version 5.00\n[HKLM\\a\\" + std::u16string(uUnits, u'k') + u"\\b]\n");
    };
    EXPECT_EQ(ParseRegFile(KeyOf(255)).size(), 1u);
    ExpectRefused(KeyOf(256), 2, "has 256 characters, the longest possible is 255");

    const auto ValueOf = [](size_t uUnits) { return Version5(u"\"" + std::u16string(uUnits, u'v') + u"\"=dword:1\n"); };
    EXPECT_EQ(OnlyValue(ValueOf(16383)).sValue.size(), 16383u);
    ExpectRefused(ValueOf(16384), 4, "has 16384 characters, the longest possible is 16383");
}

// ---- writing

TEST(RegFile, WhatTheRegistryEditorWroteIsReadAndWrittenByteForByte)
{
    const std::string sGolden = ReadBack("reg/registry_editor_v5.reg");
    ASSERT_GT(sGolden.size(), 1000u);
    EXPECT_TRUE(Rewrite(ParseRegFile(sGolden), RegFileVersion::Unicode5) == sGolden);
}

TEST(RegFile, VersionFiveIsUtf16WithItsMarkAndCrLf)
{
    RegFileWriter writer(RegFileVersion::Unicode5);
    writer.AddKey(kLumKey);
    writer.AddValue(u"", kulTypeText, BytesOfText(u"a\\\"\u20AC"));
    writer.AddValue(u"n", kulTypeDword, {1, 2, 3, 4});
    EXPECT_EQ(writer.TakeBytes(), Utf16File(u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Lum]\r\n"
                                            u"@=\"a\\\\\\\"\u20AC\"\r\n\"n\"=dword:04030201\r\n\r\n"));
}

TEST(RegFile, VersionFourIsInTheCodePage)
{
    RegFileWriter writer(RegFileVersion::Ansi4);
    writer.AddKey(kLumKey);
    writer.AddValue(u"e", kulTypeExpandText, BytesOfText(u"%P%"));
    writer.AddValue(u"t", kulTypeText, BytesOfText(u"two\r\nlines"));
    EXPECT_EQ(writer.TakeBytes(), "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Lum]\r\n\"e\"=hex(2):25,50,25,00\r\n"
                                  "\"t\"=hex(1):74,77,6f,0d,0a,6c,69,6e,65,73,00\r\n\r\n");
}

const RegOperation kAwkwardValues[] = {
    {Kind::SetValue, 0, {}, u"no zero", kulTypeText, BytesOfUnits(u"ab")},
    {Kind::SetValue, 0, {}, u"no bytes", kulTypeText, {}},
    {Kind::SetValue, 0, {}, u"two zeros", kulTypeText, BytesOfText(std::u16string_view(u"a\0", 2))},
    {Kind::SetValue, 0, {}, u"zero inside", kulTypeText, BytesOfText(std::u16string_view(u"a\0b", 3))},
    {Kind::SetValue, 0, {}, u"lines", kulTypeText, BytesOfText(u"a\r\nb\nc")},
    {Kind::SetValue, 0, {}, u"blanks ", kulTypeText, BytesOfText(u" a\t")},
    {Kind::SetValue, 0, {}, u"short dword", kulTypeDword, {1, 2}},
    {Kind::SetValue, 0, {}, u"long dword", kulTypeDword, {1, 2, 3, 4, 5}},
    {Kind::SetValue, 0, {}, u"expand", kulTypeExpandText, BytesOfText(u"%PATH%")},
    {Kind::SetValue, 0, {}, u"several", kulTypeMultiText, BytesOfText(std::u16string_view(u"a\0b\0", 4))},
    {Kind::SetValue, 0, {}, u"\"\\", kulTypeBinary, Bytes(300, 0xA5)},
    {Kind::SetValue, 0, {}, u"none", 0, {}},
    {Kind::SetValue, 0, {}, u"own type", 0x12345678, {1}},
};

TEST(RegFile, DataOfAnyShapeComesBackAsItWas)
{
    for (RegFileVersion eVersion : {RegFileVersion::Unicode5, RegFileVersion::Ansi4})
    {
        std::vector<RegOperation> operations{{Kind::CreateKey, 0, kLumKey, {}, 0, {}}};
        operations.insert(operations.end(), std::begin(kAwkwardValues), std::end(kAwkwardValues));
        const std::string sFile = Rewrite(operations, eVersion);
        const auto back = ParseRegFile(sFile);
        ExpectSameOperations(back, operations);
        EXPECT_EQ(Rewrite(back, eVersion), sFile);
    }
}

TEST(RegFile, VersionFiveKeepsAnyUnitsOfText)
{
    const Bytes aubHalfPair = BytesOfText(u"\xD800"); // one unit of a pair, as registries may hold it
    RegFileWriter writer(RegFileVersion::Unicode5);
    writer.AddKey(kLumKey);
    writer.AddValue(u"\xDC00", kulTypeText, aubHalfPair);
    const auto value = OnlyValue(writer.TakeBytes());
    EXPECT_EQ(value.sValue, u"\xDC00");
    EXPECT_EQ(value.aubData, aubHalfPair);
}

TEST(RegFile, WhatAVersionCannotExpressIsAnErrorAndNotALoss)
{
    RegFileWriter ansi(RegFileVersion::Ansi4);
    ansi.AddKey(kLumKey);
    EXPECT_THROW(ansi.AddValue(u"\xD800", kulTypeBinary, {1}), std::runtime_error);
    EXPECT_THROW(ansi.AddValue(u"e", kulTypeExpandText, BytesOfText(u"\xD800")), std::runtime_error);
    EXPECT_THROW(ansi.AddValue(u"e", kulTypeExpandText, {0x41}), std::runtime_error);

    RegFileWriter wide(RegFileVersion::Unicode5);
    EXPECT_THROW(wide.AddKey({0, u"a\nb"}), std::runtime_error);
    EXPECT_THROW(wide.AddKey({0, u"a] ;b"}), std::runtime_error);
    wide.AddKey(kLumKey);
    EXPECT_THROW(wide.AddValue(u"a\nb", kulTypeBinary, {1}), std::runtime_error);
}

TEST(RegFile, NoLineOfBytesIsLongerThanEightyColumns)
{
    for (size_t uName : {1u, 20u, 60u, 69u}) // a longer name has one byte beside it, and then the line
    {
        RegFileWriter writer(RegFileVersion::Ansi4);
        writer.AddKey(kLumKey);
        writer.AddValue(std::u16string(uName, u'n'), kulTypeBinary, Bytes(200, 7));
        const std::string sFile = writer.TakeBytes();
        for (size_t uStart = 0, uEnd; (uEnd = sFile.find("\r\n", uStart)) != sFile.npos; uStart = uEnd + 2)
            EXPECT_LE(uEnd - uStart, 80u);
    }
}
} // namespace
