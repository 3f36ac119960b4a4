// Transactions inside transactions: each level sees its own changes, and those above it only what was committed to them.
#include "StorageParts.h"
#include "Wine.h"

namespace
{
class IStorageNested : public testing::TestWithParam<DWORD>
{
protected:
    IStorageNested()
    {
        Put(NewStorage(mRoot, u"Runs"), u"Old", "old");
        EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    }
    RootFolder mFolder;
    Storage mRoot = mFolder.Create(GetParam());

    NameList NamesBelow(const char16_t* pName) // in the root's view
    {
        const Storage storage = OpenStorage(mRoot, pName, STGM_READ | STGM_SHARE_EXCLUSIVE);
        return storage ? Names(storage) : NameList{};
    }
};
INSTANTIATE_TEST_SUITE_P(Modes, IStorageNested, testing::Values(STGM_DIRECT, STGM_TRANSACTED));
} // namespace

TEST_P(IStorageNested, AChangeIsSeenBelowOnlyWhenItIsCommitted)
{
    Storage runs = OpenStorage(mRoot, u"Runs", kulTransacted);
    Put(runs, u"New", "new");
    EXPECT_EQ(runs->DestroyElement(W(u"Old")), S_OK);
    EXPECT_EQ(Names(runs), NameList{u"New"});
    EXPECT_EQ(runs->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(Get(runs, u"New"), "new");
    runs.Reset();
    EXPECT_EQ(NamesBelow(u"Runs"), NameList{u"New"});
    EXPECT_EQ(Get(OpenStorage(mRoot, u"Runs"), u"New"), "new");
}

TEST_P(IStorageNested, AReleaseWithoutACommitDropsEverything)
{
    Storage runs = OpenStorage(mRoot, u"Runs", kulTransacted);
    Put(runs, u"New", "new");
    Put(runs, u"Old", "changed");
    NewStorage(runs, u"Deep");
    runs.Reset();
    EXPECT_EQ(NamesBelow(u"Runs"), NameList{u"Old"});
    EXPECT_EQ(Get(OpenStorage(mRoot, u"Runs"), u"Old"), "old");
}

TEST_P(IStorageNested, ARevertGivesBackWhatWasCommittedLast)
{
    const Storage runs = OpenStorage(mRoot, u"Runs", kulTransacted);
    Put(runs, u"First", "1");
    EXPECT_EQ(runs->Commit(STGC_DEFAULT), S_OK);
    const Stream open = NewStream(runs, u"Second");
    EXPECT_EQ(runs->RenameElement(W(u"Old"), W(u"Older")), S_OK);
    EXPECT_EQ(runs->SetStateBits(1, 1), S_OK);
    EXPECT_EQ(runs->Revert(), S_OK);
    EXPECT_EQ(open->Write("x", 1, nullptr), STG_E_REVERTED);
    EXPECT_EQ(Names(runs), (NameList{u"First", u"Old"}));
    EXPECT_EQ(Get(runs, u"Old"), "old");
    STATSTG stat;
    EXPECT_EQ(runs->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(stat.grfStateBits, WineSays(1u, 0u)); // Wine keeps these bits outside transactions
}

TEST_P(IStorageNested, EveryLevelHasToCommit)
{
    const std::string sLarge(20000, 'L');
    {
        const Storage outer = OpenStorage(mRoot, u"Runs", kulTransacted);
        {
            const Storage inner = NewStorage(outer, u"Inner", kulTransacted);
            Put(inner, u"Large", sLarge);
            {
                const Storage deepest = NewStorage(inner, u"Deepest", kulTransacted);
                Put(deepest, u"Kept", "kept");
                EXPECT_EQ(deepest->Commit(STGC_DEFAULT), S_OK);
                Put(deepest, u"Dropped", "dropped");
            }
            EXPECT_EQ(Names(OpenStorage(inner, u"Deepest")), NameList{u"Kept"});
            EXPECT_EQ(inner->Commit(STGC_DEFAULT), S_OK);
        }
        EXPECT_EQ(Names(outer), (NameList{u"Inner/", u"Old"}));
        EXPECT_EQ(outer->Commit(STGC_DEFAULT), S_OK);
    }
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    mRoot.Reset();
    mRoot = mFolder.Open();
    const Storage runs = OpenStorage(mRoot, u"Runs");
    const Storage inner = OpenStorage(runs, u"Inner");
    EXPECT_TRUE(Get(inner, u"Large") == sLarge);
    EXPECT_EQ(Get(OpenStorage(inner, u"Deepest"), u"Kept"), "kept");
}

TEST_P(IStorageNested, WhatTheRootDoesNotCommitIsNotInTheFile)
{
    {
        const Storage runs = OpenStorage(mRoot, u"Runs", kulTransacted);
        Put(runs, u"New", "new");
        EXPECT_EQ(runs->Commit(STGC_DEFAULT), S_OK);
    }
    mRoot.Reset();
    mRoot = mFolder.Open();
    EXPECT_EQ(NamesBelow(u"Runs"), GetParam() == STGM_DIRECT ? (NameList{u"New", u"Old"}) : NameList{u"Old"});
}

TEST_P(IStorageNested, AStreamIsChangedInPartsOverWhatIsBelow)
{
    std::string sExpected(10000, 'a');
    Put(OpenStorage(mRoot, u"Runs"), u"Large", sExpected);
    {
        const Storage runs = OpenStorage(mRoot, u"Runs", kulTransacted);
        const Stream large = OpenStream(runs, u"Large");
        EXPECT_EQ(large->Seek(By(5000), STREAM_SEEK_SET, nullptr), S_OK);
        Write(large, "middle");
        EXPECT_EQ(large->Seek(By(10), STREAM_SEEK_END, nullptr), S_OK);
        Write(large, "end");
        sExpected.replace(5000, 6, "middle");
        EXPECT_EQ(SizeOf(large), 10013u);
        EXPECT_EQ(large->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
        EXPECT_EQ(ReadUpTo(large, 10000), sExpected);
        EXPECT_EQ(large->SetSize(Bytes(8000)), S_OK);
        EXPECT_EQ(runs->Commit(STGC_DEFAULT), S_OK);
        // After the commit it is still open.
        EXPECT_EQ(large->Seek(By(4999), STREAM_SEEK_SET, nullptr), S_OK);
        EXPECT_EQ(ReadUpTo(large, 8), "amiddlea");
    }
    EXPECT_EQ(Get(OpenStorage(mRoot, u"Runs"), u"Large"), sExpected.substr(0, 8000));
}

TEST_P(IStorageNested, NamesMayBeTakenByOthersWithinATransaction)
{
    {
        const Storage runs = OpenStorage(mRoot, u"Runs", kulTransacted);
        Put(runs, u"Other", "other");
        EXPECT_EQ(runs->Commit(STGC_DEFAULT), S_OK);
        EXPECT_EQ(runs->RenameElement(W(u"Old"), W(u"Between")), S_OK);
        EXPECT_EQ(runs->RenameElement(W(u"Other"), W(u"Old")), S_OK);
        EXPECT_EQ(runs->RenameElement(W(u"Between"), W(u"Other")), S_OK);
        EXPECT_EQ(Get(runs, u"Old"), "other");
        EXPECT_EQ(TryStream(runs, u"Between"), STG_E_FILENOTFOUND);
        EXPECT_EQ(runs->Commit(STGC_DEFAULT), S_OK);
    }
    const Storage runs = OpenStorage(mRoot, u"Runs");
    EXPECT_EQ(Names(runs), (NameList{u"Old", u"Other"}));
    EXPECT_EQ(Get(runs, u"Old"), "other");
    EXPECT_EQ(Get(runs, u"Other"), "old");
}

TEST_P(IStorageNested, PropertiesAreCommittedToo)
{
    {
        const Storage runs = OpenStorage(mRoot, u"Runs", kulTransacted);
        EXPECT_EQ(runs->SetClass(IID_IStream), S_OK);
        EXPECT_EQ(runs->SetStateBits(5, 7), S_OK);
        EXPECT_EQ(runs->Commit(STGC_DEFAULT), S_OK);
    }
    STATSTG stat;
    EXPECT_EQ(OpenStorage(mRoot, u"Runs")->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_TRUE(IsEqualGUID(stat.clsid, IID_IStream));
    EXPECT_EQ(stat.grfStateBits, WineSays(0u, 5u)); // nor commits Wine these bits
}

TEST_P(IStorageNested, TheStorageBelowDestroysIt)
{
    const Storage runs = OpenStorage(mRoot, u"Runs", kulTransacted);
    const Stream stream = NewStream(runs, u"New");
    EXPECT_EQ(mRoot->DestroyElement(W(u"Runs")), S_OK);
    EXPECT_EQ(stream->Write("x", 1, nullptr), STG_E_REVERTED);
    EXPECT_EQ(TryStream(runs, u"Old"), STG_E_REVERTED);
    EXPECT_EQ(Names(mRoot), NameList{});
    if (RunsUnderWine()) return; // which ends the program
    EXPECT_EQ(runs->Commit(STGC_DEFAULT), STG_E_REVERTED);
}
