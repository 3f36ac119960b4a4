// A file whose root has a tree as deep as it has entries.
#pragma once

#include "StorageContent.h"
#include "StorageNamed.h"

#include <gtest/gtest.h>

using lum::CfEntry;
using lum::CompoundFile;
using lum::EntryKind;
using lum::kulNoEntry;
using lum::kulRootEntry;
using lum::StorageAccess;

inline StorageText NameAt(ULONG ulAt)
{
    return {static_cast<char16_t>(0x4E00 + ulAt / 0x1000), static_cast<char16_t>(0x4E00 + ulAt % 0x1000)};
}

// A file with so many streams.
inline StorageMemory Streams(ULONG ulStreams)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ULONG ulEntry = 0;
    EXPECT_EQ(file.Create(3, StorageAccess::Direct), S_OK);
    for (ULONG i = 0; i < ulStreams; ++i) EXPECT_EQ(InsertNamed(file, kulRootEntry, NameAt(i), EntryKind::Stream, ulEntry), S_OK);
    EXPECT_EQ(file.Commit(), S_OK);
    return bytes;
}

// The directory of a file, its root's tree made into a list: each entry is the right one of the one before.
class List
{
public:
    explicit List(ULONG ulStreams) : mBytes(Streams(ulStreams))
    {
        std::memcpy(&mHeader, mBytes.maBytes.data(), sizeof mHeader);
        EXPECT_EQ(mTable.Open(mHeader), S_OK);
        std::vector<ULONG> entries;
        EXPECT_EQ(mDirectory.Children(kulRootEntry, entries), S_OK);
        EXPECT_EQ(entries.size(), ulStreams);
        Entry(kulRootEntry).ulChild = entries.front();
        for (std::size_t i = 0; i < entries.size(); ++i)
        {
            Entry(entries[i]).ulLeft = kulNoEntry;
            Entry(entries[i]).ulRight = i + 1 < entries.size() ? entries[i + 1] : kulNoEntry;
        }
    }
    CfEntry& Entry(ULONG ulEntry)
    {
        CfEntry* pEntry = nullptr;
        EXPECT_EQ(mDirectory.Change(ulEntry, pEntry), S_OK);
        return *pEntry;
    }
    StorageMemory& Bytes() // with the list in it
    {
        EXPECT_EQ(mDirectory.Entries().Flush(), S_OK);
        return mBytes;
    }

private:
    StorageMemory mBytes;
    lum::CfHeader mHeader;
    lum::SectorFile mFile{mBytes, 9, mBytes.maBytes.size()};
    lum::SectorTable mTable{mFile, true, false};

public:
    lum::Directory mDirectory{mFile, mTable, reinterpret_cast<const lum::CfHeader*>(mBytes.maBytes.data())->ulDirectory, 0};
};
