// Names: their lengths, their case, and what the narrow page makes of them.
#include "RegistryKey.h"

#include <algorithm>

namespace
{
class RegistryNames : public RegistryKey
{
};

TEST_F(RegistryNames, ALevelOfAPathHas255Characters)
{
    const std::u16string sLongest(255, u'x'), sTooLong(257, u'x');
    EXPECT_EQ(TryOpen(mKey, sLongest), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(TryCreate(mKey, sLongest), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, sLongest), ERROR_SUCCESS);
    EXPECT_EQ(TryCreate(mKey, sLongest + u"\\" + sLongest), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, sLongest + u"\\" + sLongest), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(mKey, Wide(sLongest + u"\\" + sLongest)), ERROR_SUCCESS);

    EXPECT_EQ(TryOpen(mKey, sTooLong), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(TryCreate(mKey, sTooLong), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(TryCreate(mKey, u"new\\" + sTooLong + u"\\x"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegDeleteKeyW(mKey, Wide(sTooLong)), ERROR_INVALID_PARAMETER);

    const std::string sNarrow(255, 'x');
    EXPECT_EQ(TryOpen(mKey, sNarrow.c_str()), ERROR_SUCCESS);
    // Wine lets one more through.
    EXPECT_EQ(TryOpen(mKey, std::u16string(256, u'x')), WineSays<LSTATUS>(ERROR_FILE_NOT_FOUND, ERROR_INVALID_PARAMETER));
}

TEST_F(RegistryNames, APathMayBeDeep)
{
    std::u16string sPath = u"d";
    for (int i = 0; i < 400; ++i) sPath += u"\\deeper";
    EXPECT_EQ(TryCreate(mKey, sPath), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, sPath), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, sPath + u"\\x"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteTreeA(mKey, "d"), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, sPath), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryNames, AValueNameHas16383Characters)
{
    const DWORD ulNumber = 7;
    const auto set = [&](const std::u16string& sName)
    { return RegSetValueExW(mKey, Wide(sName), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&ulNumber), sizeof ulNumber); };
    const auto query = [&](const std::u16string& sName) { return RegQueryValueExW(mKey, Wide(sName), nullptr, nullptr, nullptr, nullptr); };

    const std::u16string sLongest(16383, u'v'), sTooLong(16384, u'v');
    EXPECT_EQ(set(sLongest), ERROR_SUCCESS);
    EXPECT_EQ(query(sLongest), ERROR_SUCCESS);
    EXPECT_EQ(query(std::u16string(16383, u'V')), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExA(mKey, std::string(16383, 'v').c_str(), nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    std::vector<WCHAR> auwName(16384);
    auto ulChars = static_cast<DWORD>(auwName.size());
    EXPECT_EQ(RegEnumValueW(mKey, 0, auwName.data(), &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_TRUE(Units(auwName.data(), ulChars) == sLongest);

    EXPECT_EQ(set(sTooLong), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(query(sTooLong), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteValueW(mKey, Wide(sTooLong)), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteValueW(mKey, Wide(sLongest)), ERROR_SUCCESS);
}

TEST_F(RegistryNames, LettersOfEveryScriptCompareWithoutCase)
{
    struct Pair
    {
        const char16_t *pOne, *pOther;
    };
    constexpr Pair kSame[] = {{u"\u00E4", u"\u00C4"}, {u"\u00FF", u"\u0178"}, {u"\u03B1", u"\u0391"}, {u"\u0436", u"\u0416"},
                              {u"\u0101", u"\u0100"}, {u"\uFF41", u"\uFF21"}, {u"\u1F80", u"\u1F88"}, {u"\u00E9a", u"\u00C9A"}};
    constexpr Pair kDifferent[] = {{u"\u00DF", u"SS"}, {u"\u0131", u"I"}, {u"\u00B5", u"\u039C"}, {u"a", u"\u00E4"},
                                   {u"\u017F", u"S"}, {u"\u212A", u"K"}};
    for (const Pair& pair : kSame)
    {
        EXPECT_EQ(TryCreate(mKey, pair.pOne), ERROR_SUCCESS);
        EXPECT_EQ(TryOpen(mKey, pair.pOther), ERROR_SUCCESS) << static_cast<int>(pair.pOne[0]);
        const BYTE ubData = 1;
        EXPECT_EQ(RegSetValueExW(mKey, Wide(pair.pOne), 0, REG_BINARY, &ubData, 1), ERROR_SUCCESS);
        EXPECT_EQ(RegQueryValueExW(mKey, Wide(pair.pOther), nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
        EXPECT_EQ(RegDeleteKeyW(mKey, Wide(pair.pOther)), ERROR_SUCCESS);
    }
    for (const Pair& pair : kDifferent)
    {
        EXPECT_EQ(TryCreate(mKey, pair.pOne), ERROR_SUCCESS);
        EXPECT_EQ(TryOpen(mKey, pair.pOther), ERROR_FILE_NOT_FOUND) << static_cast<int>(pair.pOne[0]);
        EXPECT_EQ(RegDeleteKeyW(mKey, Wide(pair.pOne)), ERROR_SUCCESS);
    }
}

TEST_F(RegistryNames, AnyUnitsMakeAName)
{
    for (const char16_t* pName : {u"\U0001F600 pair", u"\xD800 half", u"other half \xDC00", u"\xFFFE\xFFFF"})
    {
        const std::u16string sName = pName;
        EXPECT_EQ(TryCreate(mKey, sName), ERROR_SUCCESS);
        EXPECT_EQ(TryOpen(mKey, sName), ERROR_SUCCESS);
        WCHAR auwName[20];
        DWORD ulChars = 20;
        EXPECT_EQ(RegEnumKeyExW(mKey, 0, auwName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
        EXPECT_EQ(Units(auwName, ulChars), sName);
        EXPECT_EQ(RegDeleteKeyW(mKey, Wide(sName)), ERROR_SUCCESS);
    }
    EXPECT_EQ(TryCreate(mKey, u"\xD800"), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, u"\xD801"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryNames, NarrowAndWideNamesAreTheSameNames)
{
    // What these bytes mean depends on the narrow page; both ways in must agree, and so must both ways out.
    const char* const pNarrow = GetACP() == CP_UTF8 ? "\xC3\xA4\xE2\x82\xAC" : "\xE4\x80";
    Create(mKey, pNarrow);
    EXPECT_EQ(TryOpen(mKey, u"\u00C4\u20AC"), ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(mKey), std::vector<std::string>{pNarrow});
    EXPECT_EQ(SetText(mKey, pNarrow, "text"), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExW(mKey, Wide(u"\u00E4\u20AC"), nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(ValueNames(mKey), std::vector<std::string>{pNarrow});
}

TEST_F(RegistryNames, TextThatIsNotOfTheNarrowPageStillMakesOneName)
{
    const char* const pName = "bad \xFF\x81 bytes";
    Create(mKey, pName);
    EXPECT_EQ(TryOpen(mKey, pName), ERROR_SUCCESS);
    EXPECT_EQ(SetText(mKey, pName, pName), ERROR_SUCCESS);
    EXPECT_EQ(Get(mKey, pName).lStatus, ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(mKey).size(), 1u);
    EXPECT_EQ(RegDeleteKeyA(mKey, pName), ERROR_SUCCESS);
}

TEST_F(RegistryNames, EveryLengthOfAPathIsFound)
{
    // Around the blocks in which names are read.
    for (size_t ulLength = 1; ulLength <= 70; ++ulLength)
    {
        std::string sName(ulLength, 'n');
        sName[ulLength - 1] = 'Z';
        std::string sPath = "Top\\" + sName + "\\z" + sName;
        Create(mKey, sPath.c_str());
        std::transform(sPath.begin(), sPath.end(), sPath.begin(), [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
        EXPECT_EQ(TryOpen(mKey, sPath.c_str()), ERROR_SUCCESS) << sPath;
        EXPECT_EQ(TryOpen(mKey, std::u16string(sPath.begin(), sPath.end())), ERROR_SUCCESS) << sPath;
        EXPECT_EQ(TryOpen(mKey, (sPath + "x").c_str()), ERROR_FILE_NOT_FOUND) << sPath;
        EXPECT_EQ(TryOpen(Open(mKey, "top"), sPath.c_str() + 4), ERROR_SUCCESS) << sPath;
    }
}
} // namespace
