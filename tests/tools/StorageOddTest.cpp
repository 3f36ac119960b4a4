// lum storage with files of a kind that others make: names that no new stream may have, storages deep in one another or in
// themselves.
#include "Held.h"
#include "LumProgram.h"
#include "WideText.h"
#include "Wine.h"

#include <algorithm>

namespace
{
constexpr DWORD kulAlone = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;

class LumStorageOdd : public LumProgram
{
protected:
    LumStorageOdd() { WriteFileText(msData, "data"); }

    static std::string Units(std::u16string_view sName)
    {
        return std::string(reinterpret_cast<const char*>(sName.data()), 2 * sName.size());
    }
    // Gives what has that name in the file's directory another of the same length.
    void Rename(std::u16string_view sFrom, std::u16string_view sTo)
    {
        std::string sBytes = FileText(msFile);
        const size_t uAt = sBytes.find(Units(sFrom) + std::string(2, '\0'));
        ASSERT_NE(uAt, sBytes.npos);
        WriteFileText(msFile, sBytes.replace(uAt, 2 * sTo.size(), Units(sTo)));
    }
    std::string TooDeep(const std::string& sBelow) const
    {
        return "more than 500 storages lie in one another below " + sBelow + " in " + msFile + ": lum does not go deeper";
    }
    std::string TooMany() const { return msFile + " leads to more streams and storages than it can have: it is damaged"; }
    static std::string Nested(size_t uNames)
    {
        std::string sPath = "s";
        for (size_t u = 1; u < uNames; ++u) sPath += "/s";
        return sPath;
    }

    const std::string msData = File("data"), msFile = File("odd.cfb"), msCopy = File("copy.cfb");
};
} // namespace

TEST_F(LumStorageOdd, WhateverNameIsListedCanBeTyped)
{
    constexpr struct
    {
        std::u16string_view sName;
        const char* pListed;
    } kNames[] = {{u"a:b!c", "a:b!c"},
                  {u"a/b\\c", "a\\x2fb\\x5cc"},
                  {u"\x05\x1f\x7f\x85\x9f", "\\x05\\x1f\\x7f\\x85\\x9f"},
                  {u"\xD800z\xDC00zz", "\\ud800z\\udc00zz"}};
    for (const auto& [sName, pListed] : kNames)
    {
        std::filesystem::remove(msFile);
        LumOutput({"storage", "put", msFile, "Spect", msData});
        Rename(u"Spect", sName);
        const std::string sList = LumOutput({"storage", "list", msFile});
        EXPECT_TRUE(sList.ends_with("  " + std::string(pListed) + "\n")) << sList;
        EXPECT_EQ(LumOutput({"storage", "cat", msFile, pListed}), "data");
        WriteFileText(File("other"), "other");
        LumOutput({"storage", "put", msFile, pListed, File("other")});
        EXPECT_EQ(LumOutput({"storage", "cat", msFile, pListed}), "other");
        LumOutput({"storage", "remove", msFile, pListed});
        ExpectRefusal({"storage", "cat", msFile, pListed}, 1, std::string("there is no ") + pListed);
    }
}

TEST_F(LumStorageOdd, JsonIsUtf8WhateverTheNames)
{
    LumOutput({"storage", "put", msFile, "Spect", msData});
    Rename(u"Spect", u"\xD800z\xDC00zz");
    const std::string sJson = LumOutput({"storage", "list", "--json", msFile});
    EXPECT_NE(sJson.find("\"path\": \"\\\\ud800z\\\\udc00zz\",\n      \"name\": \"\xEF\xBF\xBDz\xEF\xBF\xBDzz\","), sJson.npos)
        << sJson;
}

TEST_F(LumStorageOdd, NoNewStreamOrStorageHasSuchAName)
{
    LumOutput({"storage", "put", msFile, "Notes", msData});
    const std::string sBefore = FileText(msFile);
    for (const char* pName : {"a:b", "a!b", "a\\x2fb", "a\\x5cb", "a:b/Spectrum"})
    {
        ExpectRefusal({"storage", "put", msFile, pName, msData}, 2, "no new name can have '/', '\\', ':' or '!' in it");
        ExpectRefusal({"storage", "put", msCopy, pName, msData}, 2, "no new name can have '/', '\\', ':' or '!' in it");
    }
    EXPECT_EQ(FileText(msFile), sBefore);
    EXPECT_FALSE(std::filesystem::exists(msCopy));
    ExpectNothingUnfinished();
}

TEST_F(LumStorageOdd, AllCommandsGoEquallyDeep)
{
    const std::string sDeepest = Nested(500) + "/Spectrum", sDeeper = Nested(501) + "/Spectrum";
    LumOutput({"storage", "put", msFile, sDeepest, msData});
    EXPECT_EQ(LumOutput({"storage", "cat", msFile, sDeepest}), "data");
    const std::string sList = LumOutput({"storage", "list", msFile});
    EXPECT_EQ(std::ranges::count(sList, '\n'), 503);
    LumOutput({"storage", "copy", msFile, msCopy});
    EXPECT_EQ(LumOutput({"storage", "cat", msCopy, sDeepest}), "data");
    EXPECT_EQ(LumOutput({"storage", "check", msFile}), msFile + ": sound\n");

    const std::string sWhy = TooDeep("s/s/s");
    ExpectRefusal({"storage", "put", msFile, sDeeper, msData}, 3, sWhy);
    ExpectRefusal({"storage", "cat", msFile, sDeeper}, 3, sWhy);
    ExpectRefusal({"storage", "remove", msFile, sDeeper}, 3, sWhy);
    ExpectRefusal({"storage", "list", msFile, sDeeper}, 3, sWhy);
}

TEST_F(LumStorageOdd, AFileThatGoesDeeperIsNotFollowed)
{
    Held<IStorage> here;
    ASSERT_EQ(StgCreateDocfile(W(Widen(msFile).c_str()), kulAlone, 0, here.Out()), S_OK);
    std::vector<Held<IStorage>> above;
    for (int i = 0; i < 501; ++i)
    {
        Held<IStorage> below;
        ASSERT_EQ(here->CreateStorage(W(u"s"), kulAlone, 0, 0, below.Out()), S_OK);
        above.push_back(std::move(here));
        here = std::move(below);
    }
    here.Reset();
    while (!above.empty()) above.pop_back(); // the root last

    const std::string sWhy = TooDeep("s/s/s");
    const ProgramResult list = Lum({"storage", "list", msFile});
    EXPECT_EQ(list.iStatus, 3);
    EXPECT_NE(list.sErr.find(sWhy), std::string::npos) << list.sErr;
    ExpectRefusal({"storage", "copy", msFile, msCopy}, 3, sWhy);
    EXPECT_FALSE(std::filesystem::exists(msCopy));
    ExpectRefusal({"storage", "check", msFile}, 3, sWhy);
    LumOutput({"storage", "put", msFile, "s/Notes", msData}); // where it is not too deep
    EXPECT_EQ(LumOutput({"storage", "cat", msFile, "s/Notes"}), "data");
}

TEST_F(LumStorageOdd, StoragesThatShareWhatTheyHoldAreCalledDamage)
{
    // In each storage two, of which the second leads to what is in the first: 131,070 paths in a file of a few KB.
    constexpr int kiLevels = 16;
    constexpr size_t kuChild = 0x4C; // in an entry
    const auto name = [](char16_t uwFirst, int iLevel) { return std::u16string{uwFirst, static_cast<char16_t>(u'a' + iLevel)}; };
    {
        std::vector<Held<IStorage>> open(1);
        ASSERT_EQ(StgCreateDocfile(W(Widen(msFile).c_str()), kulAlone, 0, open[0].Out()), S_OK);
        for (int i = 0; i < kiLevels; ++i)
        {
            Held<IStorage> first, second;
            ASSERT_EQ(open.back()->CreateStorage(W(name(u'S', i).c_str()), kulAlone, 0, 0, second.Out()), S_OK);
            ASSERT_EQ(open.back()->CreateStorage(W(name(u'F', i).c_str()), kulAlone, 0, 0, first.Out()), S_OK);
            open.push_back(std::move(first));
        }
        while (!open.empty()) open.pop_back(); // the root last
    }
    std::string sBytes = FileText(msFile);
    for (int i = 0; i < kiLevels; ++i)
    {
        const auto child = [&](char16_t uwFirst) { return sBytes.find(Units(name(uwFirst, i)) + std::string(2, '\0')) + kuChild; };
        sBytes.replace(child(u'S'), 4, sBytes.substr(child(u'F'), 4));
    }
    WriteFileText(msFile, sBytes);

    const std::string sWhy = TooMany();
    const ProgramResult list = Lum({"storage", "list", msFile});
    EXPECT_EQ(list.iStatus, 3);
    EXPECT_NE(list.sErr.find(sWhy), std::string::npos) << list.sErr;
    EXPECT_NE(list.sOut.find("Fp/\n"), std::string::npos); // what it met until then
    EXPECT_LE(static_cast<size_t>(std::ranges::count(list.sOut, '\n')), sBytes.size() / 128 + 2);
    ExpectRefusal({"storage", "list", "--json", msFile}, 3, sWhy);
    EXPECT_EQ(Lum({"storage", "check", msFile}).iStatus, 1);
    ExpectRefusal({"storage", "copy", msFile, msCopy}, 3, sWhy);
    EXPECT_FALSE(std::filesystem::exists(msCopy));
    ExpectRefusal({"storage", "copy", "--force", msFile, msFile}, 3, sWhy);
    EXPECT_TRUE(FileText(msFile) == sBytes);
    ExpectNothingUnfinished();
}

TEST_F(LumStorageOdd, AStorageThatLiesInItselfIsCalledDamage)
{
    LumOutput({"storage", "put", msFile, "Outer/Inner/Notes", msData});
    std::string sBytes = FileText(msFile);
    const size_t uOuter = sBytes.find(Units(u"Outer")), uInner = sBytes.find(Units(u"Inner"));
    ASSERT_TRUE(uOuter != sBytes.npos && uInner != sBytes.npos);
    constexpr size_t kuChild = 0x4C;                                                                    // in an entry
    sBytes.replace(uInner + kuChild, 4, sBytes.substr(sBytes.find(Units(u"Root Entry")) + kuChild, 4)); // Outer
    WriteFileText(msFile, sBytes);
    // Wine opens a storage that is open already.
    const std::string sWhy =
        WineSays(TooMany(), "Outer/Inner/Outer in " + msFile + " lies in itself: the file is damaged");
    const ProgramResult list = Lum({"storage", "list", msFile});
    EXPECT_EQ(list.iStatus, 3);
    EXPECT_NE(list.sErr.find(sWhy), std::string::npos) << list.sErr;
    ExpectRefusal({"storage", "copy", msFile, msCopy}, 3, sWhy);
    EXPECT_EQ(Lum({"storage", "check", msFile}).iStatus, 1);
    const ProgramResult put = Lum({"storage", "put", msFile, "Outer/Inner/Outer/Notes", msData});
    EXPECT_EQ(put.iStatus, WineSays(0, 3)) << put.sErr;
    if (!RunsUnderWine())
    {
        EXPECT_NE(put.sErr.find(sWhy), std::string::npos) << put.sErr;
    }
}
