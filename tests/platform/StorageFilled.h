// A compound file of the engine with some of everything in it, and a transaction that changes much of that.
#pragma once

#include "Platform.h"

#include "StorageContent.h"
#include "StorageNamed.h"

#include <gtest/gtest.h>

inline ULONG Insert(lum::CompoundFile& file, ULONG ulStorage, const StorageText& sName,
                    lum::EntryKind eKind = lum::EntryKind::Stream)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(InsertNamed(file, ulStorage, sName, eKind, ulEntry), S_OK);
    return ulEntry;
}

inline ULONG AddStream(lum::CompoundFile& file, ULONG ulStorage, const StorageText& sName, const StorageBlob& bytes)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(InsertNamed(file, ulStorage, sName, lum::EntryKind::Stream, ulEntry), S_OK);
    EXPECT_EQ(file.Write(ulEntry, 0, bytes.data(), bytes.size()), S_OK);
    return ulEntry;
}

inline ULONG AddStorage(lum::CompoundFile& file, ULONG ulStorage, const StorageText& sName)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(InsertNamed(file, ulStorage, sName, lum::EntryKind::Storage, ulEntry), S_OK);
    return ulEntry;
}

inline ULONG FindStream(lum::CompoundFile& file, const StorageText& sName)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(file.Find(0, sName, ulEntry), S_OK);
    return ulEntry;
}

inline StorageText Numbered(const StorageText& sName, unsigned uNumber)
{
    const std::string sDigits = std::to_string(uNumber);
    return sName + StorageText(sDigits.begin(), sDigits.end());
}

// A file with some of everything.
inline void Fill(lum::CompoundFile& file)
{
    const ULONG ulRuns = AddStorage(file, 0, u"Runs");
    for (unsigned i = 0; i < 40; ++i) AddStream(file, ulRuns, Numbered(u"Spectrum", i), StoragePattern(100 * i, i));
    AddStream(file, 0, u"Large", StoragePattern(300000, 1));
    AddStream(file, 0, u"Other", StoragePattern(50000, 2));
    AddStream(file, 0, u"Small", StoragePattern(1000, 3));
}

// One transaction with every kind of change in it.
inline HRESULT ChangeMuch(lum::CompoundFile& file)
{
    const StorageBlob bytes = StoragePattern(90000, 77);
    ULONG ulRuns = 0, ulLarge = 0, ulSmall = 0, ulNew = 0;
    HRESULT hr = file.Find(0, u"Runs", ulRuns);
    if (SUCCEEDED(hr)) hr = file.Find(0, u"Large", ulLarge);
    if (SUCCEEDED(hr)) hr = file.Find(0, u"Small", ulSmall);
    if (SUCCEEDED(hr)) hr = file.Write(ulLarge, 1000, bytes.data(), 20000);
    if (SUCCEEDED(hr)) hr = file.Write(ulLarge, 299990, bytes.data(), bytes.size());
    if (SUCCEEDED(hr)) hr = file.Write(ulSmall, 500, bytes.data(), 5000);
    if (SUCCEEDED(hr)) hr = RemoveNamed(file, 0, u"Other");
    for (unsigned i = 0; i < 40 && SUCCEEDED(hr); i += 3) hr = RemoveNamed(file, ulRuns, Numbered(u"Spectrum", i));
    for (unsigned i = 0; i < 30 && SUCCEEDED(hr); ++i)
    {
        hr = InsertNamed(file, ulRuns, Numbered(u"New", i), lum::EntryKind::Stream, ulNew);
        if (SUCCEEDED(hr)) hr = file.Write(ulNew, 0, bytes.data(), 200 * i);
    }
    if (SUCCEEDED(hr)) hr = MoveNamed(file, ulRuns, u"Spectrum1", 0, u"Moved");
    if (SUCCEEDED(hr)) hr = MoveNamed(file, 0, u"Runs", 0, u"Old runs");
    return SUCCEEDED(hr) ? file.Commit() : hr;
}

// A file that was filled, what it holds, and what it will hold after ChangeMuch.
class StorageFilled : public testing::TestWithParam<WORD>
{
protected:
    void SetUp() override
    {
        StorageMemory bytes;
        lum::CompoundFile file(bytes);
        ASSERT_EQ(file.Create(GetParam(), lum::StorageAccess::Transacted), S_OK);
        Fill(file);
        ASSERT_EQ(file.Commit(), S_OK);
        mBefore = bytes.maBytes;
        ASSERT_EQ(ContentOf(bytes, mOld), S_OK);
        ASSERT_EQ(ChangeMuch(file), S_OK);
        ASSERT_EQ(ContentOf(bytes, mNew), S_OK);
        ASSERT_NE(mOld, mNew);
    }

    // Whether the bytes hold one of the two, whole. True for the new one.
    bool IsNew(std::vector<BYTE> bytes)
    {
        StorageMemory memory(std::move(bytes));
        StorageContent content;
        EXPECT_EQ(ContentOf(memory, content), S_OK);
        EXPECT_TRUE(content == mOld || content == mNew);
        EXPECT_EQ(DamageOf(memory), "");
        return content == mNew;
    }

    std::vector<BYTE> mBefore;
    StorageContent mOld, mNew;
};
