// Reading, writing, deleting and enumerating values.
#include "RegistryKey.h"

#include <cstring>

using namespace std::string_literals;

namespace
{
using Names = std::vector<std::string>;

class RegistryValues : public RegistryKey
{
protected:
    struct Answer
    {
        LSTATUS lStatus;
        DWORD ulBytes;
        std::string sBuffer; // the first bytes of a buffer that was full of '.'
        bool operator==(const Answer&) const = default;
    };
    static constexpr DWORD kulAllRoom = 64;
    static Answer Read(HKEY hKey, const char* pName, DWORD ulRoom, size_t ulShow)
    {
        std::string sBuffer(kulAllRoom, '.');
        DWORD ulBytes = ulRoom;
        const LSTATUS lStatus = RegQueryValueExA(hKey, pName, nullptr, nullptr, reinterpret_cast<BYTE*>(sBuffer.data()), &ulBytes);
        return {lStatus, ulBytes, sBuffer.substr(0, ulShow)};
    }
    static Answer ReadWide(HKEY hKey, const char16_t* pName, DWORD ulRoom, size_t ulShow)
    {
        std::string sBuffer(kulAllRoom, '.');
        DWORD ulBytes = ulRoom;
        const LSTATUS lStatus = RegQueryValueExW(hKey, Wide(pName), nullptr, nullptr, reinterpret_cast<BYTE*>(sBuffer.data()), &ulBytes);
        return {lStatus, ulBytes, sBuffer.substr(0, ulShow)};
    }
    static LSTATUS SetWide(HKEY hKey, const char16_t* pName, DWORD ulType, const std::string& sBytes)
    {
        const std::string sGuarded = sBytes + "##";
        return RegSetValueExW(hKey, Wide(pName), 0, ulType, reinterpret_cast<const BYTE*>(sGuarded.data()), static_cast<DWORD>(sBytes.size()));
    }
    static std::string BytesOf(const std::u16string& sText) { return {reinterpret_cast<const char*>(sText.data()), 2 * sText.size()}; }
};

TEST_F(RegistryValues, TextComesBackWithItsTerminator)
{
    EXPECT_EQ(SetText(mKey, "v", "hello"), ERROR_SUCCESS);
    EXPECT_EQ(Get(mKey, "v"), (Value{ERROR_SUCCESS, REG_SZ, "hello\0"s}));
    EXPECT_EQ(ReadWide(mKey, u"v", kulAllRoom, 12), (Answer{ERROR_SUCCESS, 12, BytesOf(u"hello\0"s)}));
}

TEST_F(RegistryValues, NumbersAndBytesComeBackAsTheyWere)
{
    for (const DWORD ulType : {REG_NONE, REG_BINARY, REG_DWORD, REG_LINK, REG_QWORD, 12345, static_cast<int>(0xFFFFFFFF)})
    {
        EXPECT_EQ(Set(mKey, "v", ulType, "\x01\x80\xFF"s), ERROR_SUCCESS);
        EXPECT_EQ(Get(mKey, "v"), (Value{ERROR_SUCCESS, ulType, "\x01\x80\xFF"s}));
        EXPECT_EQ(ReadWide(mKey, u"v", kulAllRoom, 4), (Answer{ERROR_SUCCESS, 3, "\x01\x80\xFF."}));
    }
}

TEST_F(RegistryValues, TheDefaultValueHasNoName)
{
    EXPECT_EQ(Get(mKey, "").lStatus, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(SetText(mKey, "", "one"), ERROR_SUCCESS);
    EXPECT_EQ(GetText(mKey, nullptr), "one");
    EXPECT_EQ(SetText(mKey, nullptr, "two"), ERROR_SUCCESS);
    EXPECT_EQ(GetText(mKey, ""), "two");
    EXPECT_EQ(ValueNames(mKey), (Names{""}));
    EXPECT_EQ(RegDeleteValueA(mKey, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(Get(mKey, "").lStatus, ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryValues, AMissingValueIsSaidToBe)
{
    EXPECT_EQ(Read(mKey, "none", 10, 1), (Answer{ERROR_FILE_NOT_FOUND, 10, "."}));
    DWORD ulBytes = 7;
    EXPECT_EQ(RegQueryValueExA(mKey, "none", nullptr, nullptr, nullptr, &ulBytes), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(ulBytes, 0u);
    EXPECT_EQ(RegDeleteValueA(mKey, "none"), ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(SetText(mKey, "none", "no more"), ERROR_SUCCESS);
    EXPECT_EQ(GetText(mKey, "none"), "no more");
    EXPECT_EQ(RegDeleteValueA(mKey, "none"), ERROR_SUCCESS);
    EXPECT_EQ(Read(mKey, "none", 10, 1), (Answer{ERROR_FILE_NOT_FOUND, 10, "."}));
}

TEST_F(RegistryValues, ATooSmallBufferIsToldTheSize)
{
    ASSERT_EQ(SetText(mKey, "v", "hello"), ERROR_SUCCESS);
    for (const DWORD ulRoom : {0, 1, 5}) EXPECT_EQ(Read(mKey, "v", ulRoom, 6), (Answer{ERROR_MORE_DATA, 6, "......"})) << ulRoom;
    EXPECT_EQ(Read(mKey, "v", 6, 7), (Answer{ERROR_SUCCESS, 6, "hello\0."s}));
    for (const DWORD ulRoom : {0, 11}) EXPECT_EQ(ReadWide(mKey, u"v", ulRoom, 2), (Answer{ERROR_MORE_DATA, 12, ".."})) << ulRoom;
    ASSERT_EQ(Set(mKey, "b", REG_BINARY, "1234"), ERROR_SUCCESS);
    EXPECT_EQ(Read(mKey, "b", 3, 4), (Answer{ERROR_MORE_DATA, 4, "...."}));
    EXPECT_EQ(Read(mKey, "b", 4, 5), (Answer{ERROR_SUCCESS, 4, "1234."}));
}

TEST_F(RegistryValues, ASizeAndATypeCanBeAskedForAlone)
{
    ASSERT_EQ(SetText(mKey, "v", "hello"), ERROR_SUCCESS);
    DWORD ulType = 0, ulBytes = 1;
    EXPECT_EQ(RegQueryValueExA(mKey, "v", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExA(mKey, "v", nullptr, &ulType, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(ulType, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(RegQueryValueExA(mKey, "v", nullptr, nullptr, nullptr, &ulBytes), ERROR_SUCCESS);
    EXPECT_EQ(ulBytes, 6u);
    EXPECT_EQ(RegQueryValueExW(mKey, Wide(u"v"), nullptr, nullptr, nullptr, &ulBytes), ERROR_SUCCESS);
    EXPECT_EQ(ulBytes, 12u);
}

TEST_F(RegistryValues, DataWithoutASizeIsAWrongCall)
{
    BYTE aubData[10];
    DWORD ulBytes = sizeof aubData;
    EXPECT_EQ(RegQueryValueExA(mKey, "v", nullptr, nullptr, aubData, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryValueExA(mKey, "v", &ulBytes, nullptr, aubData, &ulBytes), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryValueExA(NoKey(), "v", nullptr, nullptr, aubData, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryValues, TextWithoutATerminatorGetsOneWhereThereIsRoom)
{
    ASSERT_EQ(Set(mKey, "v", REG_SZ, "hel"), ERROR_SUCCESS);
    EXPECT_EQ(Read(mKey, "v", 2, 4), (Answer{ERROR_MORE_DATA, 3, "...."}));
    EXPECT_EQ(Read(mKey, "v", 3, 4), (Answer{ERROR_SUCCESS, 3, "hel."}));
    EXPECT_EQ(Read(mKey, "v", 4, 5), (Answer{ERROR_SUCCESS, 3, "hel\0."s}));
    EXPECT_EQ(ReadWide(mKey, u"v", 7, 8), (Answer{ERROR_SUCCESS, 6, BytesOf(u"hel") + ".."}));
    EXPECT_EQ(ReadWide(mKey, u"v", 8, 9), (Answer{ERROR_SUCCESS, 6, BytesOf(u"hel\0"s) + "."}));
}

TEST_F(RegistryValues, EmptyTextIsEmptyWithOrWithoutATerminator)
{
    ASSERT_EQ(Set(mKey, "none", REG_SZ, ""), ERROR_SUCCESS);
    EXPECT_EQ(Read(mKey, "none", 10, 1), (Answer{ERROR_SUCCESS, 0, "."}));
    EXPECT_EQ(Read(mKey, "none", 0, 1), (Answer{ERROR_SUCCESS, 0, "."}));
    ASSERT_EQ(SetText(mKey, "one", ""), ERROR_SUCCESS);
    EXPECT_EQ(Read(mKey, "one", 10, 2), (Answer{ERROR_SUCCESS, 1, "\0."s}));
    EXPECT_EQ(RegSetValueExA(mKey, "null", 0, REG_SZ, nullptr, 0), ERROR_SUCCESS);
    EXPECT_EQ(Read(mKey, "null", 10, 1), (Answer{ERROR_SUCCESS, 0, "."}));
    EXPECT_EQ(RegSetValueExA(mKey, "nullbytes", 0, REG_BINARY, nullptr, 0), ERROR_SUCCESS);
    EXPECT_EQ(Read(mKey, "nullbytes", 10, 1), (Answer{ERROR_SUCCESS, 0, "."}));
}

TEST_F(RegistryValues, ZerosWithinTextStay)
{
    ASSERT_EQ(Set(mKey, "v", REG_SZ, "ab\0cd\0"s), ERROR_SUCCESS);
    EXPECT_EQ(Get(mKey, "v").sBytes, "ab\0cd\0"s);
    ASSERT_EQ(Set(mKey, "multi", REG_MULTI_SZ, "a\0bc\0\0"s), ERROR_SUCCESS);
    EXPECT_EQ(Get(mKey, "multi"), (Value{ERROR_SUCCESS, REG_MULTI_SZ, "a\0bc\0\0"s}));
    EXPECT_EQ(ReadWide(mKey, u"multi", kulAllRoom, 12), (Answer{ERROR_SUCCESS, 12, BytesOf(u"a\0bc\0\0"s)}));
    ASSERT_EQ(Set(mKey, "expand", REG_EXPAND_SZ, "%PATH%\0"s), ERROR_SUCCESS);
    EXPECT_EQ(Get(mKey, "expand"), (Value{ERROR_SUCCESS, REG_EXPAND_SZ, "%PATH%\0"s}));
}

TEST_F(RegistryValues, HalfAUnitOfTextIsKeptAndNotConverted)
{
    ASSERT_EQ(SetWide(mKey, u"v", REG_SZ, "a\0b\0c"s), ERROR_SUCCESS);
    EXPECT_EQ(ReadWide(mKey, u"v", 5, 5), (Answer{ERROR_SUCCESS, 5, "a\0b\0c"s}));
    EXPECT_EQ(Read(mKey, "v", kulAllRoom, 3), (Answer{ERROR_SUCCESS, 2, "ab\0"s}));
}

TEST_F(RegistryValues, WideTextGoesThroughTheNarrowPage)
{
    ASSERT_EQ(SetWide(mKey, u"v", REG_SZ, BytesOf(u"\u00E4\u00F6\u20AC\0"s)), ERROR_SUCCESS);
    const std::string sNarrow = GetACP() == CP_UTF8 ? "\xC3\xA4\xC3\xB6\xE2\x82\xAC"s : "\xE4\xF6\x80"s;
    EXPECT_EQ(GetText(mKey, "v"), sNarrow);
    const auto ulBytes = static_cast<DWORD>(sNarrow.size() + 1);
    EXPECT_EQ(Read(mKey, "v", ulBytes - 1, 0), (Answer{ERROR_MORE_DATA, ulBytes, ""}));

    ASSERT_EQ(SetText(mKey, "back", sNarrow), ERROR_SUCCESS);
    EXPECT_EQ(ReadWide(mKey, u"back", kulAllRoom, 8), (Answer{ERROR_SUCCESS, 8, BytesOf(u"\u00E4\u00F6\u20AC\0"s)}));
}

TEST_F(RegistryValues, AnotherValueTakesThePlaceOfTheOldAndKeepsItsName)
{
    ASSERT_EQ(SetText(mKey, "NaMe", "one"), ERROR_SUCCESS);
    EXPECT_EQ(GetText(mKey, "name"), "one");
    ASSERT_EQ(Set(mKey, "name", REG_DWORD, "1234"), ERROR_SUCCESS);
    EXPECT_EQ(Get(mKey, "NAME"), (Value{ERROR_SUCCESS, REG_DWORD, "1234"}));
    EXPECT_EQ(ValueNames(mKey), (Names{"NaMe"}));
}

TEST_F(RegistryValues, ABackslashInANameIsALetterLikeOthers)
{
    ASSERT_EQ(SetText(mKey, "a\\b", "text"), ERROR_SUCCESS);
    EXPECT_EQ(GetText(mKey, "a\\b"), "text");
    EXPECT_EQ(GetText(mKey, "A\\B"), "text");
    EXPECT_EQ(TryOpen(mKey, "a"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryValues, ValuesAreEnumeratedWithNameTypeAndData)
{
    ASSERT_EQ(SetText(mKey, "beta", "text"), ERROR_SUCCESS);
    ASSERT_EQ(Set(mKey, "Alpha", REG_BINARY, "12"), ERROR_SUCCESS);
    EXPECT_EQ(ValueNames(mKey), (Names{"Alpha", "beta"}));

    char acName[10];
    BYTE aubData[10];
    DWORD ulChars = sizeof acName, ulType = 0, ulBytes = sizeof aubData;
    EXPECT_EQ(RegEnumValueA(mKey, 1, acName, &ulChars, nullptr, &ulType, aubData, &ulBytes), ERROR_SUCCESS);
    EXPECT_STREQ(acName, "beta");
    EXPECT_EQ(ulChars, 4u);
    EXPECT_EQ(ulType, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(ulBytes, 5u);
    EXPECT_STREQ(reinterpret_cast<char*>(aubData), "text");

    WCHAR auwName[10];
    ulChars = 10, ulBytes = sizeof aubData;
    EXPECT_EQ(RegEnumValueW(mKey, 1, auwName, &ulChars, nullptr, &ulType, aubData, &ulBytes), ERROR_SUCCESS);
    EXPECT_EQ(Units(auwName, ulChars), u"beta");
    EXPECT_EQ(ulBytes, 10u);
    EXPECT_EQ(RegEnumValueW(mKey, 2, auwName, &ulChars, nullptr, &ulType, aubData, &ulBytes), ERROR_NO_MORE_ITEMS);
}

TEST_F(RegistryValues, AnEnumeratedValueNeedsRoomForNameAndData)
{
    ASSERT_EQ(SetText(mKey, "multi", "text"), ERROR_SUCCESS);
    char acName[10];
    BYTE aubData[10];
    DWORD ulChars = 5, ulBytes = sizeof aubData;
    EXPECT_EQ(RegEnumValueA(mKey, 0, acName, &ulChars, nullptr, nullptr, aubData, &ulBytes), ERROR_MORE_DATA);
    EXPECT_EQ(ulChars, 5u);
    ulChars = sizeof acName, ulBytes = 4;
    EXPECT_EQ(RegEnumValueA(mKey, 0, acName, &ulChars, nullptr, nullptr, aubData, &ulBytes), ERROR_MORE_DATA);
    EXPECT_EQ(ulBytes, 5u);
    ulChars = 6, ulBytes = 5;
    EXPECT_EQ(RegEnumValueA(mKey, 0, acName, &ulChars, nullptr, nullptr, aubData, &ulBytes), ERROR_SUCCESS);
    ulChars = 6, ulBytes = 1;
    EXPECT_EQ(RegEnumValueA(mKey, 0, acName, &ulChars, nullptr, nullptr, nullptr, &ulBytes), ERROR_SUCCESS); // the size alone
    EXPECT_EQ(ulBytes, 5u);
    EXPECT_EQ(RegEnumValueA(mKey, 0, nullptr, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegEnumValueA(mKey, 0, acName, nullptr, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegEnumValueA(mKey, 0, acName, &ulChars, nullptr, nullptr, aubData, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryValues, EnumerationFollowsEveryChange)
{
    for (const char* pName : {"c", "a"}) ASSERT_EQ(SetText(mKey, pName, "x"), ERROR_SUCCESS);
    EXPECT_EQ(ValueNames(mKey), (Names{"a", "c"}));
    ASSERT_EQ(SetText(mKey, "b", "x"), ERROR_SUCCESS);
    EXPECT_EQ(ValueNames(mKey), (Names{"a", "b", "c"}));
    ASSERT_EQ(RegDeleteValueA(mKey, "A"), ERROR_SUCCESS);
    EXPECT_EQ(ValueNames(mKey), (Names{"b", "c"}));
}

TEST_F(RegistryValues, LongDataComesBackWhole)
{
    for (const size_t ulBytes : {16384, 16385, 65536, 3 << 20})
    {
        std::string sData(ulBytes, '\0');
        for (size_t i = 0; i < ulBytes; ++i) sData[i] = static_cast<char>(i * 7 + i / 251);
        ASSERT_EQ(Set(mKey, "v", REG_BINARY, sData), ERROR_SUCCESS);
        for (int iTwice = 0; iTwice < 2; ++iTwice)
        {
            std::string sRead(ulBytes, '.');
            auto ulRead = static_cast<DWORD>(ulBytes);
            ASSERT_EQ(RegQueryValueExA(mKey, "v", nullptr, nullptr, reinterpret_cast<BYTE*>(sRead.data()), &ulRead), ERROR_SUCCESS);
            EXPECT_EQ(ulRead, ulBytes);
            EXPECT_TRUE(sRead == sData);
        }
        char acName[10];
        std::string sRead(ulBytes, '.');
        DWORD ulChars = sizeof acName;
        auto ulRead = static_cast<DWORD>(ulBytes);
        ASSERT_EQ(RegEnumValueA(mKey, 0, acName, &ulChars, nullptr, nullptr, reinterpret_cast<BYTE*>(sRead.data()), &ulRead), ERROR_SUCCESS);
        EXPECT_TRUE(sRead == sData);
    }
    ASSERT_EQ(SetText(mKey, "v", "short again"), ERROR_SUCCESS);
    EXPECT_EQ(GetText(mKey, "v"), "short again");
}

TEST_F(RegistryValues, AKeyWithThousandsOfValuesKeepsThemApart)
{
    constexpr int kiValues = 3000; // more than are remembered for the sake of one
    const auto nameOf = [](int i) { return "Value number " + std::to_string(i * 7919 % kiValues); };
    std::vector<std::u16string> names;
    std::vector<LumRegistryChange> changes;
    for (int i = 0; i < kiValues; ++i)
    {
        const std::string sName = nameOf(i);
        names.emplace_back(sName.begin(), sName.end());
    }
    const std::u16string sKey(msPath.begin(), msPath.end());
    std::vector<DWORD> numbers(kiValues);
    for (int i = 0; i < kiValues; ++i)
    {
        numbers[i] = i;
        changes.push_back({LumRegistryChange::SetValue, HKEY_LOCAL_MACHINE, Wide(sKey), Wide(names[i]), REG_DWORD,
                           reinterpret_cast<const BYTE*>(&numbers[i]), sizeof(DWORD)});
    }
    ASSERT_EQ(LumRegistryApply(changes.data(), changes.size()), ERROR_SUCCESS);

    const auto check = [&](int i, DWORD ulExpected)
    {
        DWORD ulNumber = 0, ulBytes = sizeof ulNumber;
        ASSERT_EQ(RegQueryValueExA(mKey, nameOf(i).c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(&ulNumber), &ulBytes), ERROR_SUCCESS);
        EXPECT_EQ(ulNumber, ulExpected);
    };
    for (int i = 0; i < kiValues; i += 97) check(i, i);
    DWORD ulValues = 0;
    ASSERT_EQ(RegQueryInfoKeyA(mKey, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &ulValues, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(ulValues, static_cast<DWORD>(kiValues));
    for (int i = 0; i < kiValues; i += 97) check(i, i); // now that all were counted
    ASSERT_EQ(Set(mKey, nameOf(97).c_str(), REG_DWORD, "\1\0\0\0"s), ERROR_SUCCESS);
    check(97, 1);
    EXPECT_EQ(Get(mKey, "Value number 3001").lStatus, ERROR_FILE_NOT_FOUND);
}
} // namespace
