// Transactions inside transactions when the disk is full or memory runs out in the middle of a commit. Linux only.
#include "StorageParts.h"

#include "FewBlocks.h"
#include "StorageContent.h"
#include "linux/storage/Overlay.h"

#include <filesystem>
#include <fstream>

namespace
{
using lum::CompoundFile;
using lum::EntryKind;
using lum::Overlay;
using lum::StorageAccess;
using lum::StorageTree;
using lum::TreeMoves;

const Overlay::Revoke kNobody = [](const std::vector<ULONG>&) { return S_OK; }; // has anything open

ULONG Make(StorageTree& tree, ULONG ulStorage, const StorageText& sName, EntryKind eKind, const StorageBlob& bytes = {})
{
    ULONG ulEntry = 0;
    EXPECT_EQ(tree.NewEntry(eKind, sName, ulEntry), S_OK);
    EXPECT_EQ(tree.Link(ulStorage, ulEntry), S_OK);
    const HRESULT hrKind = eKind == EntryKind::Stream ? S_OK : STG_E_INVALIDFUNCTION;
    EXPECT_EQ(tree.Write(ulEntry, 0, bytes.data(), bytes.size()), hrKind);
    return ulEntry;
}
ULONG Find(StorageTree& tree, ULONG ulStorage, const StorageText& sName)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(tree.Find(ulStorage, sName, ulEntry), S_OK);
    return ulEntry;
}
StorageContent ContentIn(StorageTree& tree, ULONG ulStorage)
{
    StorageContent content;
    EXPECT_EQ(ReadContent(tree, content, ulStorage), S_OK);
    return content;
}

// A storage in a file, and a transaction over it with a change of every kind.
class Rich
{
public:
    explicit Rich(StorageAccess eAccess)
    {
        EXPECT_EQ(mFile.Create(3, eAccess), S_OK);
        mulRuns = Make(mFile, 0, u"Runs", EntryKind::Storage);
        for (const char16_t* pName : {u"Kept", u"Renamed", u"Gone", u"Changed", u"Replaced"})
            Make(mFile, mulRuns, pName, EntryKind::Stream, StoragePattern(3000, 1));
        const ULONG ulDeep = Make(mFile, mulRuns, u"Deep", EntryKind::Storage);
        Make(mFile, ulDeep, u"Moved", EntryKind::Stream, StoragePattern(9000, 2));
        Make(mFile, ulDeep, u"Lost", EntryKind::Stream, StoragePattern(9000, 3));
        EXPECT_EQ(mFile.Commit(), S_OK);
        mOverlay.Begin(mulRuns);
        Change();
    }

    StorageMemory mBytes;
    CompoundFile mFile{mBytes};
    Overlay mOverlay{mFile};
    ULONG mulRuns = 0;

private:
    void Take(ULONG ulStorage, const StorageText& sName)
    {
        const ULONG ulEntry = Find(mOverlay, ulStorage, sName);
        EXPECT_EQ(mOverlay.Unlink(ulStorage, ulEntry), S_OK);
        EXPECT_EQ(mOverlay.Drop(ulEntry), S_OK);
    }
    void Change()
    {
        TreeMoves moves(mOverlay);
        const StorageBlob large = StoragePattern(50000, 7);
        const ULONG ulRenamed = Find(mOverlay, 0, u"Renamed"), ulDeep = Find(mOverlay, 0, u"Deep");
        const ULONG ulMoved = Find(mOverlay, ulDeep, u"Moved");
        EXPECT_EQ(moves.Unlink(0, ulRenamed), S_OK);
        EXPECT_EQ(moves.SetName(ulRenamed, u"New name"), S_OK);
        EXPECT_EQ(moves.Link(0, ulRenamed), S_OK);
        const ULONG ulFresh = Make(mOverlay, 0, u"Fresh", EntryKind::Storage);
        Make(mOverlay, ulFresh, u"Large", EntryKind::Stream, large);
        EXPECT_EQ(moves.Unlink(ulDeep, ulMoved), S_OK);
        EXPECT_EQ(moves.Link(ulFresh, ulMoved), S_OK);
        Take(0, u"Deep");
        Take(0, u"Gone");
        Take(0, u"Replaced");
        Make(mOverlay, 0, u"Replaced", EntryKind::Storage);
        EXPECT_EQ(mOverlay.Write(Find(mOverlay, 0, u"Changed"), 2990, large.data(), 3000), S_OK);
        EXPECT_EQ(mOverlay.SetProperties(0, IID_IStream, 5, {}, {}), S_OK);
    }
};
} // namespace

TEST(Overlay, ACommitMakesWhatIsBelowWhatIsSeen)
{
    for (const StorageAccess eAccess : {StorageAccess::Direct, StorageAccess::Transacted})
    {
        Rich rich(eAccess);
        const StorageContent expected = ContentIn(rich.mOverlay, 0);
        EXPECT_EQ(expected.size(), 7u);
        bool bWhole = false;
        ASSERT_EQ(rich.mOverlay.Commit(kNobody, bWhole), S_OK);
        EXPECT_TRUE(bWhole);
        EXPECT_TRUE(ContentIn(rich.mFile, rich.mulRuns) == expected);
        EXPECT_TRUE(ContentIn(rich.mOverlay, 0) == expected);
        lum::CfEntry entry;
        EXPECT_EQ(rich.mFile.Get(rich.mulRuns, entry), S_OK);
        EXPECT_EQ(entry.ulState, 5u);
        ASSERT_EQ(rich.mFile.Commit(), S_OK);
        std::vector<lum::StorageFinding> findings;
        EXPECT_EQ(lum::CheckStorage(rich.mBytes, findings), S_OK);
        EXPECT_TRUE(findings.empty()) << findings[0].sWhere << ": " << findings[0].sWhat;
    }
}

TEST(Overlay, ACommitThatFindsNoRoomLeavesWhatIsBelowAsItWas)
{
    ULONG ulFailures = 0;
    for (ULONG ulAllowed = 0;; ++ulAllowed)
    {
        Rich rich(StorageAccess::Transacted);
        const StorageContent before = ContentIn(rich.mFile, 0), expected = ContentIn(rich.mOverlay, 0);
        rich.mBytes.mhrStopped = STG_E_MEDIUMFULL;
        rich.mBytes.mulAllowed = ulAllowed;
        bool bWhole = false;
        const HRESULT hr = rich.mOverlay.Commit(kNobody, bWhole);
        rich.mBytes.mulAllowed = ~ULONG{0};
        EXPECT_TRUE(bWhole);
        if (SUCCEEDED(hr)) break;
        ++ulFailures;
        ASSERT_EQ(hr, STG_E_MEDIUMFULL);
        ASSERT_TRUE(ContentIn(rich.mFile, 0) == before) << ulAllowed;
        ASSERT_TRUE(ContentIn(rich.mOverlay, 0) == expected) << ulAllowed;
        ASSERT_EQ(rich.mOverlay.Commit(kNobody, bWhole), S_OK) << "with room again";
        ASSERT_TRUE(ContentIn(rich.mFile, rich.mulRuns) == expected) << ulAllowed;
        ASSERT_EQ(rich.mFile.Commit(), S_OK);
        std::vector<lum::StorageFinding> findings;
        ASSERT_EQ(lum::CheckStorage(rich.mBytes, findings), S_OK);
        ASSERT_TRUE(findings.empty()) << findings[0].sWhere << ": " << findings[0].sWhat;
    }
    EXPECT_GT(ulFailures, 0u);
}

TEST(Overlay, AStorageThatHoldsItselfIsNotDestroyedFromInside)
{
    StorageMemory bytes;
    {
        CompoundFile file(bytes);
        ASSERT_EQ(file.Create(3, StorageAccess::Direct), S_OK);
        const ULONG ulOuter = Make(file, 0, u"Outer", EntryKind::Storage);
        const ULONG ulInner = Make(file, ulOuter, u"Inner", EntryKind::Storage);
        ASSERT_EQ(file.Link(ulInner, ulOuter), S_OK);
        ASSERT_EQ(file.Commit(), S_OK);
    }
    const RootFolder folder;
    std::ofstream out(std::filesystem::path(folder.Name()), std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.maBytes.data()), static_cast<std::streamsize>(bytes.maBytes.size()));
    out.close();
    const Storage root = folder.Open(), outer = OpenStorage(root, u"Outer"), inner = OpenStorage(outer, u"Inner");
    EXPECT_EQ(inner->DestroyElement(W(u"Outer")), STG_E_DOCFILECORRUPT);
    Stream stream;
    EXPECT_EQ(inner->CreateStream(W(u"Outer"), kulElement | STGM_CREATE, 0, 0, stream.Out()), STG_E_DOCFILECORRUPT);
    EXPECT_EQ(Names(inner), NameList{u"Outer/"});
}

TEST(Overlay, ACommitWithoutMemoryIsRefusedAndARevertHelps)
{
    RootFolder folder;
    Storage root = folder.Create(STGM_TRANSACTED);
    Put(NewStorage(root, u"Runs"), u"Old", "old");
    ASSERT_EQ(root->Commit(STGC_DEFAULT), S_OK);
    int iFailures = 0;
    HRESULT hr = E_FAIL;
    for (long lBlocks = 0; FAILED(hr) && lBlocks < 1000; lBlocks += 1 + lBlocks / 20)
    {
        Storage runs = OpenStorage(root, u"Runs", kulTransacted);
        Put(runs, u"Large", std::string(20000, 'L'));
        Put(runs, u"Old", "new");
        Put(NewStorage(runs, u"Deep"), u"Stream", "bytes");
        hr = WithBlocks(lBlocks, [&] { return runs->Commit(STGC_DEFAULT); });
        if (SUCCEEDED(hr)) break;
        ++iFailures;
        ASSERT_EQ(hr, STG_E_INSUFFICIENTMEMORY);
        runs.Reset();
        ASSERT_EQ(root->Commit(STGC_DEFAULT), STG_E_INSUFFICIENTMEMORY) << "half a change is not committed";
        ASSERT_EQ(root->Revert(), S_OK);
        ASSERT_EQ(Names(runs = OpenStorage(root, u"Runs")), NameList{u"Old"});
        ASSERT_EQ(Get(runs, u"Old"), "old");
    }
    EXPECT_EQ(hr, S_OK);
    EXPECT_GT(iFailures, 5);
    ASSERT_EQ(root->Commit(STGC_DEFAULT), S_OK);
    root.Reset();
    root = folder.Open();
    EXPECT_EQ(Names(OpenStorage(root, u"Runs")), (NameList{u"Deep/", u"Large", u"Old"}));
}

TEST(Overlay, MemoryThatRunsOutInAnyCallIsItsResult)
{
    RootFolder folder;
    const Storage root = folder.Create(STGM_TRANSACTED);
    HRESULT hr = E_FAIL;
    for (long lBlocks = 0; FAILED(hr) && lBlocks < 200; ++lBlocks)
    {
        Storage runs;
        Stream stream;
        SetBlocks(lBlocks);
        hr = root->CreateStorage(W(u"Runs"), kulTransacted, 0, 0, runs.Out());
        if (SUCCEEDED(hr)) hr = runs->CreateStream(W(u"Stream"), kulElement, 0, 0, stream.Out());
        if (SUCCEEDED(hr)) hr = stream->Write("bytes", 5, nullptr);
        SetBlocks(kiAnyBlocks);
        stream.Reset();
        runs.Reset();
        ASSERT_EQ(hr, FAILED(hr) ? STG_E_INSUFFICIENTMEMORY : S_OK);
        ASSERT_EQ(root->Revert(), S_OK);
        ASSERT_EQ(Names(root), NameList{});
    }
    EXPECT_EQ(hr, S_OK);
}
