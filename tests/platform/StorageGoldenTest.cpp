// Compound files that others wrote, and ours that others have read. Linux only.
#include "Platform.h"

#include "GoldenStorage.h"
#include "StorageContent.h"
#include "StorageNamed.h"

#include <gtest/gtest.h>

namespace
{
using lum::CompoundFile;
using lum::EntryKind;
using lum::StorageAccess;

constexpr const char* kpGolden[] = {"gsf.cfb",           "npm.cfb",          "wine.cfb", "wine-transacted.cfb",
                                    "small-sectors.cfb", "large-sectors.cfb"};

StorageContent GoldenContent(std::string_view sFile)
{
    StorageContent content = {{u"Empty", {}},
                              {u"One", StoragePattern(1, 2)},
                              {u"Notes", StoragePattern(513, 9)},
                              {u"Runs/", {}},
                              {u"Runs/0001/", {}},
                              {u"Runs/0001/Spectrum", StoragePattern(4095, 3)},
                              {u"Runs/0001/Header", StoragePattern(64, 4)},
                              {u"Runs/0002/", {}},
                              {u"Runs/0002/Spectrum", StoragePattern(4096, 5)},
                              {u"Runs/0002/Header", StoragePattern(63, 6)},
                              {u"Runs/0003/", {}},
                              {u"Runs/0003/Spectrum", StoragePattern(20000, 7)},
                              {u"Runs/0003/Header", StoragePattern(65, 8)}};
    if (sFile == "npm.cfb") content[u"\x0001Sh33tJ5"] = {'7', '2', '6', '2'}; // its writer adds it to every file
    return content;
}

// One writer marks as taken all that its FATs have room for beyond the file's end, and one mini sector before it. When the file
// grows, these are sectors that belong to nobody.
std::string KnownDamage(std::string_view sFile, bool bGrown)
{
    if (sFile != "npm.cfb") return "";
    if (!bGrown)
        return "sector 64: is taken and lies behind the end of the file; there are 64 such\n"
               "mini sector 79: is taken and belongs to nobody; there are 1 such\n";
    return "sector 64: is taken and belongs to nobody; there are 64 such\n"
           "mini sector 79: is taken and belongs to nobody; there are 49 such\n";
}

TEST(StorageGolden, FilesOfOthersAndOursHoldWhatTheyShould)
{
    for (const char* pName : kpGolden)
    {
        StorageMemory bytes(GoldenStorage(pName));
        StorageContent content;
        EXPECT_EQ(ContentOf(bytes, content), S_OK) << pName;
        EXPECT_TRUE(content == GoldenContent(pName)) << pName;
        EXPECT_EQ(DamageOf(bytes), KnownDamage(pName, false)) << pName;
    }
}

// Writes the golden content in the order that the golden files were written in.
void Put(CompoundFile& file, ULONG ulStorage, std::u16string_view sName, std::size_t ulBytes, unsigned uSeed)
{
    ULONG ulEntry = 0;
    const StorageBlob bytes = StoragePattern(ulBytes, uSeed);
    ASSERT_EQ(InsertNamed(file, ulStorage, sName, EntryKind::Stream, ulEntry), S_OK);
    ASSERT_EQ(file.Write(ulEntry, 0, bytes.data(), bytes.size()), S_OK);
}

TEST(StorageGolden, WeStillWriteTheBytesThatOthersHaveRead)
{
    constexpr struct
    {
        const char16_t* pName;
        std::size_t ulSpectrum, ulHeader;
    } kRuns[] = {{u"0001", 4095, 64}, {u"0002", 4096, 63}, {u"0003", 20000, 65}};
    for (WORD uwVersion : {3, 4})
    {
        StorageMemory bytes;
        CompoundFile file(bytes);
        ULONG ulRuns = 0, ulRun = 0;
        unsigned uSeed = 3;
        ASSERT_EQ(file.Create(uwVersion, StorageAccess::Transacted), S_OK);
        Put(file, 0, u"Empty", 0, 1);
        Put(file, 0, u"One", 1, 2);
        ASSERT_EQ(InsertNamed(file, 0, u"Runs", EntryKind::Storage, ulRuns), S_OK);
        for (const auto& run : kRuns)
        {
            ASSERT_EQ(InsertNamed(file, ulRuns, run.pName, EntryKind::Storage, ulRun), S_OK);
            Put(file, ulRun, u"Spectrum", run.ulSpectrum, uSeed++);
            Put(file, ulRun, u"Header", run.ulHeader, uSeed++);
        }
        Put(file, 0, u"Notes", 513, 9);
        ASSERT_EQ(file.Commit(), S_OK);
        EXPECT_TRUE(bytes.maBytes == GoldenStorage(uwVersion == 3 ? "small-sectors.cfb" : "large-sectors.cfb")) << uwVersion;
    }
}

TEST(StorageGolden, FilesOfOthersCanBeChanged)
{
    for (const char* pName : kpGolden)
    {
        for (StorageAccess eAccess : {StorageAccess::Transacted, StorageAccess::Direct})
        {
            StorageMemory bytes(GoldenStorage(pName));
            CompoundFile file(bytes);
            StorageContent expected = GoldenContent(pName), content;
            ULONG ulRuns = 0, ulRun = 0, ulEntry = 0;
            ASSERT_EQ(file.Open(eAccess), S_OK);
            ASSERT_EQ(file.Find(0, u"Runs", ulRuns), S_OK);
            ASSERT_EQ(file.Find(ulRuns, u"0003", ulRun), S_OK);
            ASSERT_EQ(file.Find(ulRun, u"Spectrum", ulEntry), S_OK);
            const StorageBlob more = StoragePattern(3000, 99);
            ASSERT_EQ(file.Write(ulEntry, 20000, more.data(), more.size()), S_OK);
            auto& spectrum = expected[u"Runs/0003/Spectrum"];
            spectrum.insert(spectrum.end(), more.begin(), more.end());
            for (char16_t uwName = u'a'; uwName <= u'z'; ++uwName)
            {
                Put(file, ulRuns, std::u16string(1, uwName), 100 * (uwName - u'a'), uwName);
                expected[u"Runs/" + std::u16string(1, uwName)] = StoragePattern(100 * (uwName - u'a'), uwName);
            }
            ASSERT_EQ(RemoveNamed(file, ulRuns, u"0001"), S_OK);
            std::erase_if(expected, [](const auto& item) { return item.first.starts_with(u"Runs/0001/"); });
            ASSERT_EQ(MoveNamed(file, ulRuns, u"0002", 0, u"Second"), S_OK);
            for (const char16_t* pStream : {u"", u"Spectrum", u"Header"})
            {
                auto moved = expected.extract(std::u16string(u"Runs/0002/") + pStream);
                moved.key() = std::u16string(u"Second/") + pStream;
                expected.insert(std::move(moved));
            }
            ASSERT_EQ(file.Commit(), S_OK);
            EXPECT_EQ(ContentOf(bytes, content), S_OK);
            EXPECT_TRUE(content == expected) << pName;
            EXPECT_EQ(DamageOf(bytes), KnownDamage(pName, true)) << pName;
        }
    }
}
} // namespace
