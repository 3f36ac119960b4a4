// The storage engine: names and their order, and what else an entry says. Linux only.
#include "StorageFilled.h"

namespace
{
using lum::CfEntry;
using lum::CompoundFile;
using lum::EntryKind;
using lum::StorageAccess;

std::string Narrow(std::u16string_view sName) { return std::string(sName.begin(), sName.end()); }

class StorageName : public testing::TestWithParam<WORD> {};

TEST_P(StorageName, NamesAreInTheOrderOfTheFormat)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    for (const char16_t* pName : {u"bb", u"A", u"zz", u"C", u"b", u"AAA", u"aB", u"_"}) Insert(file, 0, pName);
    std::vector<ULONG> children;
    ASSERT_EQ(file.Children(0, children), S_OK);
    std::string sOrder;
    for (ULONG ulEntry : children)
    {
        CfEntry entry;
        std::u16string_view sName;
        ASSERT_EQ(file.Get(ulEntry, entry), S_OK);
        ASSERT_TRUE(lum::NameOfEntry(entry, sName));
        sOrder += Narrow(sName) + " ";
    }
    EXPECT_EQ(sOrder, "A b C _ aB bb zz AAA "); // shorter first; '_' comes behind the capitals
}

TEST_P(StorageName, NamesAreFoundWithoutRegardToCase)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    const ULONG ulEntry = Insert(file, 0, u"Gr\u00FC\u00DFe \u0436");
    ULONG ulFound = 0;
    EXPECT_EQ(file.Find(0, u"GR\u00DC\u00DFE \u0416", ulFound), S_OK);
    EXPECT_EQ(ulFound, ulEntry);
    EXPECT_EQ(InsertNamed(file, 0, u"gr\u00FC\u00DFe \u0436", EntryKind::Storage, ulFound), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(file.Find(0, u"Gr\u00FCsse \u0436", ulFound), STG_E_FILENOTFOUND);
}

TEST_P(StorageName, NamesThatCannotBeAreRefused)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    ULONG ulEntry = 0;
    for (const StorageText& sName : {StorageText(), StorageText(u"a/b"), StorageText(u"a\\b"), StorageText(u"a:b"),
                                     StorageText(u"a!b"), StorageText(32, u'x'), StorageText(u"a\0b", 3)})
        EXPECT_EQ(InsertNamed(file, 0, sName, EntryKind::Stream, ulEntry), STG_E_INVALIDNAME);
    EXPECT_EQ(InsertNamed(file, 0, StorageText(31, u'x'), EntryKind::Stream, ulEntry), S_OK);
    EXPECT_EQ(MoveNamed(file, 0, StorageText(31, u'x'), 0, u"!"), STG_E_INVALIDNAME);
}

// The black height below an entry; -1 when a rule of the tree is broken.
int BlackHeight(CompoundFile& file, ULONG ulEntry, bool bParentRed)
{
    if (ulEntry == lum::kulNoEntry) return 0;
    CfEntry entry;
    EXPECT_EQ(file.Get(ulEntry, entry), S_OK);
    const bool bRed = entry.eColour == lum::EntryColour::Red;
    const int iLeft = BlackHeight(file, entry.ulLeft, bRed), iRight = BlackHeight(file, entry.ulRight, bRed);
    if ((bRed && bParentRed) || iLeft < 0 || iLeft != iRight) return -1;
    return iLeft + !bRed;
}

TEST_P(StorageName, TheTreeOfAStorageStaysARedBlackTree)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    std::vector<StorageText> names;
    std::uint32_t ulNext = 7;
    const auto check = [&]
    {
        CfEntry root;
        ASSERT_EQ(file.Get(0, root), S_OK);
        ASSERT_GE(BlackHeight(file, root.ulChild, false), 0) << names.size();
    };
    for (int i = 0; i < 1500 && !HasFailure(); ++i)
    {
        ulNext = ulNext * 1664525u + 1013904223u;
        const unsigned uValue = ulNext >> 8;
        const bool bRising = i < 300; // in order at first: the worst for a tree that does not turn
        if (bRising || names.empty() || uValue % 100 < (i < 900 ? 60u : 25u))
        {
            const std::string sDigits = std::to_string(bRising ? 1000 + i : uValue % 1000000);
            const StorageText sName(sDigits.begin(), sDigits.end());
            ULONG ulEntry = 0;
            if (InsertNamed(file, 0, sName, EntryKind::Stream, ulEntry) == S_OK) names.push_back(sName);
        }
        else
        {
            const std::size_t ulGone = uValue % names.size();
            ASSERT_EQ(RemoveNamed(file, 0, names[ulGone]), S_OK);
            names.erase(names.begin() + static_cast<std::ptrdiff_t>(ulGone));
        }
        check();
    }
    std::vector<ULONG> children;
    ASSERT_EQ(file.Children(0, children), S_OK);
    EXPECT_EQ(children.size(), names.size());
    EXPECT_GT(names.size(), 100u);
}

TEST_P(StorageName, PropertiesOfAStorageAreKept)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    const CLSID clsid{0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
    const ULONG ulEntry = Insert(file, 0, u"Storage", EntryKind::Storage);
    ASSERT_EQ(file.SetProperties(ulEntry, clsid, 0xABCD, {1, 2}, {3, 4}), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    CompoundFile again(bytes);
    ASSERT_EQ(again.Open(StorageAccess::Read), S_OK);
    CfEntry entry;
    ASSERT_EQ(again.Get(ulEntry, entry), S_OK);
    EXPECT_TRUE(entry.clsid == clsid);
    EXPECT_EQ(entry.ulState, 0xABCDu);
    EXPECT_EQ(entry.created.dwLowDateTime, 1u);
    EXPECT_EQ(entry.modified.dwHighDateTime, 4u);
}

INSTANTIATE_TEST_SUITE_P(Versions, StorageName, testing::Values(3, 4),
                         [](const auto& info) { return info.param == 3 ? "SmallSectors" : "LargeSectors"; });

} // namespace
