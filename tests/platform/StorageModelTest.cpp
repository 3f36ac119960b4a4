// The storage engine against a map in memory: long runs of operations at random. Linux only: Windows has an engine of its own.
#include "Platform.h"

#include "StorageContent.h"
#include "StorageNamed.h"

#include <gtest/gtest.h>

#include <random>

namespace
{
using lum::CompoundFile;
using lum::EntryKind;
using lum::StorageAccess;

// A compound file and what it should hold, changed together.
class Model
{
public:
    Model(WORD uwVersion, StorageAccess eAccess, unsigned uSeed) : mRandom(uSeed), mFile(mBytes), meAccess(eAccess)
    {
        EXPECT_EQ(mFile.Create(uwVersion, eAccess), S_OK);
    }

    void Run(int iSteps)
    {
        for (int i = 0; i < iSteps && !testing::Test::HasFailure(); ++i) Step();
    }

private:
    unsigned Below(unsigned uLimit) { return static_cast<unsigned>(mRandom() % uLimit); }

    // Sizes around everything that is a boundary.
    std::size_t AnySize()
    {
        constexpr std::size_t kulSizes[] = {0, 1, 63, 64, 65, 511, 512, 513, 4095, 4096, 4097, 8192, 65536};
        return Below(2) ? kulSizes[Below(std::size(kulSizes))] : Below(Below(8) ? 9000 : 200000);
    }
    StorageText AnyName()
    {
        constexpr StorageText::value_type kauwLetters[] = u"abcABCxyz\u00E9\u00C9\u0436";
        StorageText sName;
        for (unsigned i = Below(3) + 1; i > 0; --i) sName += kauwLetters[Below(std::size(kauwLetters) - 1)];
        return sName;
    }

    struct Found
    {
        StorageText sPath;
        ULONG ulEntry;
        ULONG ulParent;
        StorageText sName;
    };
    // Every entry of one kind, found from the root by name.
    std::vector<Found> All(bool bStorages)
    {
        std::vector<Found> all;
        if (bStorages) all.push_back({u"", 0, 0, u""});
        for (const auto& [sPath, bytes] : mContent)
        {
            const bool bStorage = sPath.back() == u'/';
            ULONG ulEntry = 0, ulParent = 0;
            StorageText sName;
            for (std::size_t ulFrom = 0; ulFrom < sPath.size();)
            {
                const std::size_t ulEnd = std::min(sPath.find(u'/', ulFrom), sPath.size());
                sName = sPath.substr(ulFrom, ulEnd - ulFrom);
                ulParent = ulEntry;
                EXPECT_EQ(mFile.Find(ulParent, sName, ulEntry), S_OK);
                ulFrom = ulEnd + 1;
            }
            if (bStorage == bStorages) all.push_back({sPath, ulEntry, ulParent, sName});
        }
        return all;
    }

    bool IsTaken(const StorageText& sStorage, const StorageText& sName)
    {
        for (const auto& [sPath, bytes] : mContent)
        {
            if (sPath.compare(0, sStorage.size(), sStorage) != 0 || sPath.size() == sStorage.size()) continue;
            StorageText sRest = sPath.substr(sStorage.size());
            if (sRest.back() == u'/') sRest.pop_back();
            if (sRest.find(u'/') == sRest.npos && lum::CompareEntryNames(sRest, sName) == 0) return true;
        }
        return false;
    }

    void Insert()
    {
        const auto storages = All(true);
        const Found& in = storages[Below(static_cast<unsigned>(storages.size()))];
        if (std::count(in.sPath.begin(), in.sPath.end(), u'/') > 4) return;
        const StorageText sName = AnyName();
        const bool bStorage = Below(4) == 0;
        ULONG ulEntry = 0;
        const HRESULT hr = InsertNamed(mFile, in.ulEntry, sName, bStorage ? EntryKind::Storage : EntryKind::Stream, ulEntry);
        ASSERT_EQ(hr, IsTaken(in.sPath, sName) ? STG_E_FILEALREADYEXISTS : S_OK);
        if (hr == S_OK) mContent[in.sPath + sName + (bStorage ? u"/" : u"")];
    }

    void Write()
    {
        const auto streams = All(false);
        if (streams.empty()) return;
        const Found& stream = streams[Below(static_cast<unsigned>(streams.size()))];
        StorageBlob& bytes = mContent[stream.sPath];
        const StorageBlob data = StoragePattern(AnySize(), Below(1000000));
        const std::size_t ulAt = Below(3) == 0 ? AnySize()
                                 : Below(2)    ? bytes.size()
                                               : Below(static_cast<unsigned>(bytes.size() + 1));
        ASSERT_EQ(mFile.Write(stream.ulEntry, ulAt, data.data(), data.size()), S_OK);
        if (data.empty()) return;
        if (bytes.size() < ulAt + data.size()) bytes.resize(ulAt + data.size());
        std::copy(data.begin(), data.end(), bytes.begin() + static_cast<std::ptrdiff_t>(ulAt));
    }

    void Resize()
    {
        const auto streams = All(false);
        if (streams.empty()) return;
        const Found& stream = streams[Below(static_cast<unsigned>(streams.size()))];
        const std::size_t ulBytes = AnySize();
        ASSERT_EQ(mFile.Resize(stream.ulEntry, ulBytes), S_OK);
        mContent[stream.sPath].resize(ulBytes);
    }

    void Remove(bool bStorage)
    {
        const auto all = All(bStorage);
        if (all.empty()) return;
        const Found& gone = all[Below(static_cast<unsigned>(all.size()))];
        if (gone.sPath.empty()) return;
        ASSERT_EQ(RemoveNamed(mFile, gone.ulParent, gone.sName), S_OK);
        std::erase_if(
            mContent, [&](const auto& item)
            { return item.first.compare(0, gone.sPath.size(), gone.sPath) == 0 && (bStorage || item.first == gone.sPath); });
    }

    void Move()
    {
        const auto all = All(Below(2) == 0), storages = All(true);
        if (all.empty()) return;
        const Found& what = all[Below(static_cast<unsigned>(all.size()))];
        const Found& to = storages[Below(static_cast<unsigned>(storages.size()))];
        if (what.sPath.empty()) return;
        const StorageText sName = AnyName();
        const bool bStorage = what.sPath.back() == u'/';
        const bool bInside = bStorage && to.sPath.compare(0, what.sPath.size(), what.sPath) == 0;
        const bool bSame = what.ulParent == to.ulEntry && lum::CompareEntryNames(what.sName, sName) == 0;
        const bool bTaken = !bSame && IsTaken(to.sPath, sName);
        const HRESULT hr = MoveNamed(mFile, what.ulParent, what.sName, to.ulEntry, sName);
        ASSERT_EQ(hr, bTaken ? STG_E_FILEALREADYEXISTS : bInside ? STG_E_ACCESSDENIED : S_OK);
        if (hr != S_OK) return;
        StorageContent moved;
        for (auto i = mContent.begin(); i != mContent.end();)
        {
            const bool bMoves = bStorage ? i->first.compare(0, what.sPath.size(), what.sPath) == 0 : i->first == what.sPath;
            if (bMoves) moved[to.sPath + sName + (bStorage ? u"/" : u"") + i->first.substr(what.sPath.size())] = i->second;
            i = bMoves ? mContent.erase(i) : std::next(i);
        }
        mContent.merge(moved);
    }

    void Commit()
    {
        ASSERT_EQ(mFile.Commit(), S_OK);
        mCommitted = mContent;
        StorageContent content;
        ASSERT_EQ(ContentOf(mBytes, content), S_OK);
        ASSERT_TRUE(content == mContent);
        ASSERT_EQ(DamageOf(mBytes), "");
        if (Below(2) != 0) return;
        ASSERT_EQ(mFile.Open(meAccess), S_OK);
    }

    void Revert()
    {
        if (meAccess != StorageAccess::Transacted) return;
        ASSERT_EQ(mFile.Revert(), S_OK);
        mContent = mCommitted;
    }

    void Compare()
    {
        StorageContent content;
        ASSERT_EQ(ReadContent(mFile, content), S_OK);
        ASSERT_TRUE(content == mContent);
        if (meAccess != StorageAccess::Transacted) return;
        StorageContent old; // what another reader would see
        ASSERT_EQ(ContentOf(mBytes, old), S_OK);
        ASSERT_TRUE(old == mCommitted);
    }

    void Step()
    {
        const unsigned uWhat = Below(100);
        if (uWhat < 25)
            Insert();
        else if (uWhat < 60)
            Write();
        else if (uWhat < 72)
            Resize();
        else if (uWhat < 80)
            Remove(false);
        else if (uWhat < 82)
            Remove(true);
        else if (uWhat < 90)
            Move();
        else if (uWhat < 94)
            Commit();
        else if (uWhat < 96)
            Revert();
        else
            Compare();
    }

    std::mt19937 mRandom;
    StorageMemory mBytes;
    CompoundFile mFile;
    const StorageAccess meAccess;
    StorageContent mContent, mCommitted;
};

TEST(StorageModel, ATransactionInSmallSectorsHoldsWhatWasPutIn)
{
    for (unsigned uSeed = 1; uSeed <= 12; ++uSeed) Model(3, StorageAccess::Transacted, uSeed).Run(600);
}

TEST(StorageModel, ATransactionInLargeSectorsHoldsWhatWasPutIn)
{
    for (unsigned uSeed = 21; uSeed <= 32; ++uSeed) Model(4, StorageAccess::Transacted, uSeed).Run(600);
}

TEST(StorageModel, DirectChangesHoldWhatWasPutIn)
{
    for (unsigned uSeed = 41; uSeed <= 48; ++uSeed) Model(uSeed % 2 ? 3 : 4, StorageAccess::Direct, uSeed).Run(600);
}
} // namespace
