// Balancing a tree beside entries that are damaged: what was found before is found afterwards. Linux only: Windows has an engine of
// its own.
#include "Platform.h"

#include "StorageList.h"
#include "StorageNamed.h"

namespace
{
constexpr ULONG kulAll = 30;

struct Damage
{
    const char* pWhat;
    void (*pDo)(CfEntry& entry);
};
constexpr Damage kDamages[] = {
    {"no name", [](CfEntry& entry) { entry.uwNameBytes = 0; }},
    {"a name too long", [](CfEntry& entry) { entry.uwNameBytes = 66; }},
    {"no kind", [](CfEntry& entry) { entry.eKind = static_cast<EntryKind>(7); }},
    {"a name before all", [](CfEntry& entry) { lum::SetNameOfEntry(entry, u"a"); }},
    {"a name behind all", [](CfEntry& entry) { lum::SetNameOfEntry(entry, u"the last one"); }},
    {"the root to its left", [](CfEntry& entry) { entry.ulLeft = kulRootEntry; }},
    {"the root to its right", [](CfEntry& entry) { entry.ulRight = kulRootEntry; }},
    {"nothing where it leads", [](CfEntry& entry) { entry.ulRight = 0x7FFFFFFF; }},
};

// A file with every third name free, one of whose entries is damaged.
StorageMemory DamagedFile(ULONG ulDamaged, const Damage& damage)
{
    StorageMemory bytes = Streams(kulAll);
    {
        CompoundFile file(bytes);
        EXPECT_EQ(file.Open(StorageAccess::Direct), S_OK);
        for (ULONG i = 0; i < kulAll; i += 3) EXPECT_EQ(RemoveNamed(file, kulRootEntry, NameAt(i)), S_OK);
        EXPECT_EQ(file.Commit(), S_OK);
    }
    for (std::size_t ulAt = 512; ulAt < bytes.maBytes.size(); ulAt += sizeof(CfEntry))
    {
        CfEntry& entry = *reinterpret_cast<CfEntry*>(bytes.maBytes.data() + ulAt);
        std::u16string_view sName;
        if (!lum::NameOfEntry(entry, sName) || sName != NameAt(ulDamaged)) continue;
        damage.pDo(entry);
        break;
    }
    return bytes;
}

// For each name the entry that is found by it.
std::vector<ULONG> FoundIn(CompoundFile& file)
{
    std::vector<ULONG> found(kulAll, kulNoEntry);
    for (ULONG i = 0; i < kulAll; ++i)
        if (file.Find(kulRootEntry, NameAt(i), found[i]) != S_OK) found[i] = kulNoEntry;
    return found;
}

TEST(StorageBalance, WhatIsFoundBesideADamagedEntryIsFoundAfterEveryChange)
{
    for (const Damage& damage : kDamages)
        for (ULONG ulDamaged = 0; ulDamaged < kulAll; ++ulDamaged)
        {
            if (ulDamaged % 3 == 0) continue;
            const StorageMemory damaged = DamagedFile(ulDamaged, damage);
            for (ULONG ulChanged = 0; ulChanged < kulAll; ++ulChanged)
            {
                StorageMemory bytes(damaged.maBytes);
                CompoundFile file(bytes);
                ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
                std::vector<ULONG> expected = FoundIn(file);
                ULONG ulEntry = 0;
                if (expected[ulChanged] != kulNoEntry)
                {
                    if (RemoveNamed(file, kulRootEntry, NameAt(ulChanged)) == S_OK) expected[ulChanged] = kulNoEntry;
                }
                else if (InsertNamed(file, kulRootEntry, NameAt(ulChanged), EntryKind::Stream, ulEntry) == S_OK)
                {
                    expected[ulChanged] = ulEntry;
                }
                EXPECT_EQ(FoundIn(file), expected) << damage.pWhat << " at " << ulDamaged << ", change of " << ulChanged;
            }
        }
}
} // namespace
