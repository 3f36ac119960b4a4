// The storage engine on compound files that are damaged: what it answers, and that the check names it. Linux only.
#include "Platform.h"

#include "GoldenStorage.h"
#include "StorageCalls.h"
#include "StorageExercise.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>

namespace
{
using lum::CfEntry;
using lum::CfHeader;
using lum::CompoundFile;
using lum::StorageAccess;

// A file with sectors of 512 bytes, to be damaged in places that are found by what they are.
class Damaged
{
public:
    Damaged() : maBytes(GoldenStorage("small-sectors.cfb")) {}

    CfHeader& Header() { return *reinterpret_cast<CfHeader*>(maBytes.data()); }
    ULONG& Fat(ULONG ulSector) { return *reinterpret_cast<ULONG*>(maBytes.data() + (Header().aulFat[0] + 1) * 512 + ulSector * 4); }
    CfEntry& Entry(std::u16string_view sName)
    {
        for (ULONG ulSector = Header().ulDirectory; ulSector != lum::kulEndOfChain; ulSector = Fat(ulSector))
        {
            CfEntry* pEntries = reinterpret_cast<CfEntry*>(maBytes.data() + (ulSector + 1) * 512);
            for (int i = 0; i < 4; ++i)
            {
                std::u16string_view sHere;
                if (lum::NameOfEntry(pEntries[i], sHere) && sHere == sName) return pEntries[i];
            }
        }
        throw std::out_of_range("no such entry");
    }
    // The entry whose size is that.
    CfEntry& Sized(ULONG ulBytes)
    {
        for (ULONG ulSector = Header().ulDirectory; ulSector != lum::kulEndOfChain; ulSector = Fat(ulSector))
        {
            CfEntry* pEntries = reinterpret_cast<CfEntry*>(maBytes.data() + (ulSector + 1) * 512);
            for (int i = 0; i < 4; ++i)
                if (pEntries[i].eKind == lum::EntryKind::Stream && pEntries[i].ulSizeLow == ulBytes) return pEntries[i];
        }
        throw std::out_of_range("no such entry");
    }

    HRESULT Open()
    {
        StorageMemory bytes(maBytes);
        CompoundFile file(bytes);
        return file.Open(StorageAccess::Read);
    }
    HRESULT ReadAll()
    {
        StorageMemory bytes(maBytes);
        StorageContent content;
        return ContentOf(bytes, content);
    }
    std::string Check()
    {
        StorageMemory bytes(maBytes);
        return DamageOf(bytes);
    }
    bool Tells(const std::string& sText) { return Check().find(sText) != std::string::npos; }
    bool IsHarmless() { return ExerciseStorage(maBytes); }

    std::vector<BYTE> maBytes;
};

TEST(StorageDamage, HeadersThatAreNoneAreRefusedEachWithItsCode)
{
    const auto after = [](auto&& damage)
    {
        Damaged file;
        damage(file);
        return file.Open();
    };
    EXPECT_EQ(after([](Damaged& file) { file.maBytes.clear(); }), STG_E_INVALIDHEADER);
    EXPECT_EQ(after([](Damaged& file) { file.maBytes.resize(511); }), STG_E_INVALIDHEADER);
    EXPECT_EQ(after([](Damaged& file) { file.Header().aubMagic[7] = 0; }), STG_E_INVALIDHEADER);
    EXPECT_EQ(after([](Damaged& file) { std::copy_n(lum::kaubCfOldMagic, 8, file.Header().aubMagic); }), STG_E_OLDFORMAT);
    EXPECT_EQ(after([](Damaged& file) { file.Header().uwMajor = 5; }), STG_E_OLDDLL);
    EXPECT_EQ(after([](Damaged& file) { file.Header().uwMajor = 4; }), STG_E_INVALIDHEADER);
    EXPECT_EQ(after([](Damaged& file) { file.Header().uwMajor = 2; }), STG_E_INVALIDHEADER);
    EXPECT_EQ(after([](Damaged& file) { file.Header().uwSectorShift = 31; }), STG_E_INVALIDHEADER);
    EXPECT_EQ(after([](Damaged& file) { file.Header().uwMiniShift = 7; }), STG_E_INVALIDHEADER);
    EXPECT_EQ(after([](Damaged& file) { file.Header().ulCutoff = 0; }), STG_E_INVALIDHEADER);
    EXPECT_EQ(after([](Damaged& file) { file.Header().uwByteOrder = 0xFEFF; }), STG_E_INVALIDHEADER);
    EXPECT_EQ(after([](Damaged& file) { file.Header().ulFatSectors = 0xFFFFFFFF; }), STG_E_DOCFILECORRUPT);
    EXPECT_EQ(after([](Damaged& file) { file.Header().ulFatSectors = 0; }), STG_E_DOCFILECORRUPT);
    EXPECT_EQ(after([](Damaged& file) { file.Header().aulFat[0] = 1000; }), STG_E_DOCFILECORRUPT);
    EXPECT_EQ(after([](Damaged& file) { file.Header().ulDirectory = 1000; }), STG_E_DOCFILECORRUPT);
    EXPECT_EQ(after([](Damaged& file) { file.maBytes.resize(512); }), STG_E_DOCFILECORRUPT);
}

TEST(StorageDamage, AChainThatComesBackIsFound)
{
    Damaged file;
    const ULONG ulFirst = file.Sized(20000).ulStart;
    file.Fat(ulFirst + 10) = ulFirst + 5;
    EXPECT_EQ(file.ReadAll(), STG_E_DOCFILECORRUPT);
    const std::string sWhere = std::to_string(ulFirst + 5);
    EXPECT_TRUE(file.Tells("stream Runs/0003/Spectrum: comes back to sector " + sWhere + "\n")) << file.Check();
    EXPECT_TRUE(file.IsHarmless());
}

TEST(StorageDamage, ADirectoryThatComesBackIsFound)
{
    Damaged file;
    const ULONG ulFirst = file.Header().ulDirectory;
    file.Fat(file.Fat(ulFirst)) = ulFirst;
    EXPECT_TRUE(file.Tells("directory: comes back to sector " + std::to_string(ulFirst) + "\n")) << file.Check();
    EXPECT_TRUE(file.IsHarmless());
}

TEST(StorageDamage, SectorsOfTwoStreamsAreNamed)
{
    Damaged file;
    const ULONG ulFirst = file.Sized(20000).ulStart;
    file.Sized(4096).ulStart = ulFirst;
    EXPECT_TRUE(file.Tells("shares sector " + std::to_string(ulFirst) + " with the stream Runs/000")) << file.Check();
    EXPECT_TRUE(file.Tells("is taken and belongs to nobody; there are 8 such\n")) << file.Check();
    EXPECT_TRUE(file.IsHarmless());
}

TEST(StorageDamage, AChainIntoNowhereIsFound)
{
    for (ULONG ulNext : {5000u, lum::kulFree, lum::kulDifatSector, lum::kulFatSector, lum::kulMaxSector})
    {
        Damaged file;
        const ULONG ulFirst = file.Sized(20000).ulStart;
        file.Fat(ulFirst + 10) = ulNext;
        EXPECT_EQ(file.ReadAll(), STG_E_DOCFILECORRUPT);
        EXPECT_TRUE(file.Tells("stream Runs/0003/Spectrum: ")) << file.Check();
        EXPECT_TRUE(file.IsHarmless());
    }
}

TEST(StorageDamage, SizesThatLieAreFound)
{
    for (ULONG ulSize : {20500u, 4096u * 8, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        Damaged file;
        file.Sized(20000).ulSizeLow = ulSize;
        EXPECT_EQ(file.ReadAll(), STG_E_DOCFILECORRUPT) << ulSize;
        EXPECT_TRUE(file.Tells("is " + std::to_string(ulSize) + " bytes long, its sectors have 20480\n")) << file.Check();
        EXPECT_TRUE(file.IsHarmless());
    }
    Damaged file;
    file.Sized(64).ulSizeLow = 65;
    EXPECT_EQ(file.ReadAll(), STG_E_DOCFILECORRUPT);
    EXPECT_TRUE(file.Tells("stream Runs/0001/Header: is 65 bytes long, its sectors have 64\n")) << file.Check();
    EXPECT_TRUE(file.IsHarmless());
}

TEST(StorageDamage, NamesThatNobodyCanAskForAreFound)
{
    Damaged none;
    none.Sized(64).uwNameBytes = 2;
    EXPECT_EQ(none.ReadAll(), STG_E_DOCFILECORRUPT);
    EXPECT_TRUE(none.Tells("has a name of 2 bytes\n")) << none.Check();
    EXPECT_TRUE(none.IsHarmless());

    Damaged zero;
    zero.Sized(64).auwName[2] = u'\0';
    EXPECT_TRUE(zero.Tells("has a name with a zero in it")) << zero.Check();
    EXPECT_TRUE(zero.IsHarmless());

    Damaged root; // whose name nobody needs
    root.Entry(u"Root Entry").uwNameBytes = 2;
    EXPECT_EQ(root.ReadAll(), S_OK);
}

TEST(StorageDamage, SectorsTakenBehindTheEndAreFound)
{
    Damaged file;
    const ULONG ulSectors = static_cast<ULONG>(file.maBytes.size() / 512) - 1;
    ASSERT_LT(ulSectors, 126u);
    file.Fat(ulSectors) = file.Fat(ulSectors + 1) = lum::kulEndOfChain;
    EXPECT_EQ(file.Check(), "sector " + std::to_string(ulSectors) + ": is taken and lies behind the end of the file; there are 2 such\n");
    EXPECT_TRUE(file.IsHarmless());
}

TEST(StorageDamage, TreesThatAreNoneAreFound)
{
    Damaged loop;
    loop.Entry(u"Runs").ulChild = loop.Entry(u"Root Entry").ulChild; // holds the storage that holds it
    EXPECT_EQ(loop.ReadAll(), STG_E_DOCFILECORRUPT);
    EXPECT_TRUE(loop.Tells("has its place elsewhere")) << loop.Check();
    EXPECT_TRUE(loop.IsHarmless());

    Damaged circle;
    circle.Entry(u"One").ulLeft = circle.Entry(u"Root Entry").ulChild;
    EXPECT_EQ(circle.ReadAll(), STG_E_DOCFILECORRUPT);
    EXPECT_TRUE(circle.IsHarmless());

    Damaged outside;
    outside.Entry(u"Runs").ulChild = 100000;
    EXPECT_EQ(outside.ReadAll(), STG_E_DOCFILECORRUPT);
    EXPECT_TRUE(outside.Tells("storage Runs: names entry 100000, ")) << outside.Check();
    EXPECT_TRUE(outside.Tells("is in use and in no storage")) << outside.Check();
    EXPECT_TRUE(outside.IsHarmless());

    Damaged order;
    order.Entry(u"Notes").auwName[0] = u'\0';
    EXPECT_TRUE(order.Tells("is not in the order of names")) << order.Check();
    EXPECT_TRUE(order.IsHarmless());

    Damaged name;
    name.Entry(u"Notes").uwNameBytes = 66;
    EXPECT_EQ(name.ReadAll(), STG_E_DOCFILECORRUPT);
    EXPECT_TRUE(name.Tells("has a name of 66 bytes")) << name.Check();
    EXPECT_TRUE(name.IsHarmless());
}

TEST(StorageDamage, CountsInTheHeaderThatAreWrongAreNamed)
{
    Damaged file;
    file.Header().ulMiniFatSectors = 7;
    file.Header().ulDirectorySectors = 3;
    file.Header().ulDifatSectors = 1;
    EXPECT_EQ(file.ReadAll(), S_OK);
    EXPECT_TRUE(file.Tells("header: counts 7 sectors of the mini FAT")) << file.Check();
    EXPECT_TRUE(file.Tells("header: counts 3 sectors of the directory")) << file.Check();
    EXPECT_TRUE(file.Tells("header: counts 1 sectors of the DIFAT")) << file.Check();
}

TEST(StorageDamage, AFileThatLostItsEndGivesWhatIsStillThere)
{
    Damaged file;
    const std::size_t ulWhole = file.maBytes.size();
    for (std::size_t ulLost = 1; ulLost < ulWhole; ulLost += 977)
    {
        file.maBytes.resize(ulWhole - ulLost);
        ASSERT_TRUE(file.IsHarmless()) << ulLost;
    }
}

TEST(StorageDamage, AStreamThatIsDamagedCanBeRemoved)
{
    Damaged damaged;
    CfEntry* pLargest = nullptr;
    for (ULONG ulSector = damaged.Header().ulDirectory; ulSector != lum::kulEndOfChain; ulSector = damaged.Fat(ulSector))
    {
        CfEntry* pEntries = reinterpret_cast<CfEntry*>(damaged.maBytes.data() + (ulSector + 1) * 512);
        for (int i = 0; i < 4; ++i)
            if (pEntries[i].eKind == lum::EntryKind::Stream && (!pLargest || pEntries[i].ulSizeLow > pLargest->ulSizeLow))
                pLargest = &pEntries[i];
    }
    ASSERT_GE(pLargest->ulSizeLow, lum::kulCutoff);
    damaged.Fat(pLargest->ulStart) = lum::kulFree;
    std::u16string_view sView;
    ASSERT_TRUE(lum::NameOfEntry(*pLargest, sView));
    const std::u16string sName(sView);

    StorageMemory bytes(damaged.maBytes);
    CompoundFile file(bytes);
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    std::vector<ListedEntry> entries{{0, 0, nullptr, nullptr}};
    ListEntries(file, 0, entries);
    bool bRemoved = false;
    for (const auto& [ulStorage, ulEntry, pStorage, pNode] : entries)
    {
        ULONG ulFound = 0;
        CfEntry storage;
        if (file.Get(ulEntry, storage) != S_OK || storage.eKind == lum::EntryKind::Stream) continue;
        if (file.Find(ulEntry, sName, ulFound) != S_OK) continue;
        BYTE ubByte = 0;
        std::size_t ulRead = 0;
        if (file.Read(ulFound, 600, &ubByte, 1, ulRead) != STG_E_DOCFILECORRUPT) continue;
        EXPECT_EQ(RemoveNamed(file, ulEntry, sName), S_OK);
        EXPECT_EQ(file.Find(ulEntry, sName, ulFound), STG_E_FILENOTFOUND);
        bRemoved = true;
    }
    EXPECT_TRUE(bRemoved);
    EXPECT_EQ(file.Commit(), S_OK);
    StorageContent content;
    EXPECT_EQ(ContentOf(bytes, content), S_OK);
}

TEST(StorageDamage, BytesChangedAnywhereDoNoHarm)
{
    const TempFolder folder;
    StorageCalls calls(folder.Path());
    for (const char* pName : {"gsf.cfb", "wine.cfb", "small-sectors.cfb", "large-sectors.cfb"})
    {
        const std::vector<BYTE> whole = GoldenStorage(pName);
        CfHeader header;
        std::memcpy(&header, whole.data(), sizeof header);
        const std::size_t ulSector = std::size_t{1} << header.uwSectorShift;
        std::mt19937 random(1);
        for (int i = 0; i < 700; ++i)
        {
            std::vector<BYTE> bytes = whole;
            for (int iFlips = 1 + static_cast<int>(random() % 3); iFlips > 0; --iFlips)
            {
                // Where it hurts most: header, table, directory, mini table; sometimes anywhere.
                const std::size_t aulPlaces[] = {0, (header.aulFat[0] + 1) * ulSector, (header.ulDirectory + 1) * ulSector,
                                                 (header.ulMiniFat + 1) * ulSector, random() % (bytes.size() - 512)};
                const std::size_t ulAt = aulPlaces[random() % 5] + random() % 512;
                constexpr BYTE kaubValues[] = {0, 1, 0xFE, 0xFF};
                bytes[ulAt] = random() % 2 ? kaubValues[random() % 4] : static_cast<BYTE>(random());
            }
            ASSERT_TRUE(ExerciseStorage(bytes)) << pName << " " << i;
            BYTE aubScript[24 * StorageCalls::kulStepBytes];
            for (BYTE& ubByte : aubScript) ubByte = static_cast<BYTE>(random());
            if (i % 35 > 0) continue; // on a disk it takes a while
            ASSERT_EQ(calls.Run(bytes, static_cast<BYTE>(i / 35), aubScript, sizeof aubScript), "") << pName << " " << i;
        }
    }
}
} // namespace
