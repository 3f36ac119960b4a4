// Copying and moving between storages.
#include "StorageParts.h"
#include "Wine.h"

namespace
{
class IStorageCopy : public testing::TestWithParam<DWORD>
{
protected:
    IStorageCopy()
    {
        Put(mRoot, u"Stream", "bytes");
        Put(mRoot, u"Large", std::string(300000, 'L'));
        const Storage runs = NewStorage(mRoot, u"Runs");
        Put(runs, u"0001", "first");
        Put(NewStorage(runs, u"Deep"), u"0002", "second");
        EXPECT_EQ(runs->SetClass(IID_IStream), S_OK);
        EXPECT_EQ(mRoot->SetClass(IID_IStorage), S_OK);
        EXPECT_EQ(mRoot->SetStateBits(3, 3), S_OK);
    }
    RootFolder mFolder;
    Storage mRoot = mFolder.Create(GetParam());
    Storage mOther = mFolder.Create(GetParam(), "Other.cfb");

    CLSID ClassOf(IStorage* pStorage)
    {
        STATSTG stat{};
        EXPECT_EQ(pStorage->Stat(&stat, STATFLAG_NONAME), S_OK);
        return stat.clsid;
    }
    // Wine has no MoveElementTo.
    bool DoesNotMove()
    {
        const HRESULT hr = mRoot->MoveElementTo(W(u"Nothing"), mOther, W(u"New"), STGMOVE_MOVE);
        EXPECT_EQ(hr, WineSays(E_NOTIMPL, STG_E_FILENOTFOUND));
        return RunsUnderWine();
    }
};
INSTANTIATE_TEST_SUITE_P(Modes, IStorageCopy, testing::Values(STGM_DIRECT, STGM_TRANSACTED));

LPOLESTR Name(const char16_t* pName) { return const_cast<LPOLESTR>(W(pName)); }
} // namespace

TEST_P(IStorageCopy, BringsEverythingOver)
{
    ASSERT_EQ(mRoot->CopyTo(0, nullptr, nullptr, mOther), S_OK);
    EXPECT_EQ(Names(mOther), (NameList{u"Large", u"Runs/", u"Stream"}));
    EXPECT_EQ(Get(mOther, u"Stream"), "bytes");
    EXPECT_TRUE(Get(mOther, u"Large") == std::string(300000, 'L'));
    const Storage runs = OpenStorage(mOther, u"Runs");
    EXPECT_EQ(Get(runs, u"0001"), "first");
    EXPECT_EQ(Get(OpenStorage(runs, u"Deep"), u"0002"), "second");
    EXPECT_TRUE(IsEqualGUID(ClassOf(mOther), IID_IStorage));
    EXPECT_TRUE(IsEqualGUID(ClassOf(runs), IID_IStream));
    STATSTG stat{};
    EXPECT_EQ(mOther->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(stat.grfStateBits, WineSays(0u, 3u)); // Wine leaves these bits behind
}

TEST_P(IStorageCopy, PutsStreamsInThePlaceOfOthersAndStoragesTogether)
{
    Put(mOther, u"Stream", "a longer text than the new one");
    Put(NewStorage(mOther, u"Runs"), u"Kept", "kept");
    ASSERT_EQ(mRoot->CopyTo(0, nullptr, nullptr, mOther), S_OK);
    EXPECT_EQ(Get(mOther, u"Stream"), "bytes");
    EXPECT_EQ(Names(OpenStorage(mOther, u"Runs")), (NameList{u"0001", u"Deep/", u"Kept"}));
}

TEST_P(IStorageCopy, LeavesOutWhatIsExcludedByKind)
{
    ASSERT_EQ(mRoot->CopyTo(1, &IID_IStream, nullptr, mOther), S_OK);
    EXPECT_EQ(Names(mOther), NameList{u"Runs/"});
    const Storage runs = OpenStorage(mOther, u"Runs");
    EXPECT_EQ(Names(runs), NameList{u"Deep/"});
    const Storage third = mFolder.Create(GetParam(), "Third.cfb");
    ASSERT_EQ(mRoot->CopyTo(1, &IID_IStorage, nullptr, third), S_OK);
    EXPECT_EQ(Names(third), (NameList{u"Large", u"Stream"}));
    const Storage fourth = mFolder.Create(GetParam(), "Fourth.cfb");
    const IID aBoth[] = {IID_IStorage, IID_IStream};
    ASSERT_EQ(mRoot->CopyTo(2, aBoth, nullptr, fourth), S_OK);
    EXPECT_EQ(Names(fourth), NameList{});
    EXPECT_TRUE(IsEqualGUID(ClassOf(fourth), IID_IStorage));
}

TEST_P(IStorageCopy, LeavesOutWhatIsExcludedByName)
{
    LPOLESTR aNames[] = {Name(u"Large"), Name(u"Runs"), Name(u"Nothing"), nullptr};
    ASSERT_EQ(mRoot->CopyTo(0, nullptr, aNames, mOther), S_OK);
    EXPECT_EQ(Names(mOther), NameList{u"Stream"});
}

TEST_P(IStorageCopy, DoesNotGoIntoItself)
{
    const Storage runs = OpenStorage(mRoot, u"Runs");
    EXPECT_EQ(mRoot->CopyTo(0, nullptr, nullptr, runs), STG_E_ACCESSDENIED);
    EXPECT_EQ(runs->CopyTo(0, nullptr, nullptr, runs), STG_E_ACCESSDENIED);
    if (RunsUnderWine()) return; // which ends the program
    EXPECT_EQ(mRoot->CopyTo(0, nullptr, nullptr, nullptr), STG_E_INVALIDPOINTER);
}

TEST_P(IStorageCopy, GoesFromAStorageIntoAnotherOfTheSameFile)
{
    const Storage copy = NewStorage(mRoot, u"Copy");
    const Storage runs = OpenStorage(mRoot, u"Runs");
    ASSERT_EQ(runs->CopyTo(0, nullptr, nullptr, copy), S_OK);
    EXPECT_EQ(Names(copy), (NameList{u"0001", u"Deep/"}));
    EXPECT_EQ(runs->CopyTo(0, nullptr, nullptr, mRoot), S_OK); // up
    EXPECT_EQ(Get(mRoot, u"0001"), "first");
}

TEST_P(IStorageCopy, NeedsTheRightToWrite)
{
    NewStorage(mOther, u"Sub");
    const Storage sub = OpenStorage(mOther, u"Sub", STGM_READ | STGM_SHARE_EXCLUSIVE);
    EXPECT_EQ(Names(sub), NameList{});
    if (RunsUnderWine()) return; // which ends the program
    EXPECT_EQ(mRoot->CopyTo(0, nullptr, nullptr, sub), STG_E_ACCESSDENIED);
    EXPECT_EQ(Names(sub), NameList{});
}

TEST_P(IStorageCopy, MovesAnElement)
{
    if (DoesNotMove()) return;
    const Storage runs = OpenStorage(mRoot, u"Runs");
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Stream"), runs, W(u"Moved"), STGMOVE_MOVE), S_OK);
    EXPECT_EQ(Names(mRoot), (NameList{u"Large", u"Runs/"}));
    EXPECT_EQ(Get(runs, u"Moved"), "bytes");
    EXPECT_EQ(runs->MoveElementTo(W(u"Deep"), mOther, W(u"Deeper"), STGMOVE_MOVE), S_OK);
    EXPECT_EQ(Names(runs), (NameList{u"0001", u"Moved"}));
    EXPECT_EQ(Get(OpenStorage(mOther, u"Deeper"), u"0002"), "second");
}

TEST_P(IStorageCopy, MovesAStorageWithAllItHoldsAndLosesNothing)
{
    if (DoesNotMove()) return;
    const Storage target = NewStorage(mRoot, u"Target");
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Runs"), target, W(u"Runs"), STGMOVE_MOVE), S_OK);
    EXPECT_EQ(Names(mRoot), (NameList{u"Large", u"Stream", u"Target/"}));
    const Storage runs = OpenStorage(target, u"Runs");
    EXPECT_EQ(Get(OpenStorage(runs, u"Deep"), u"0002"), "second");
    EXPECT_TRUE(IsEqualGUID(ClassOf(runs), IID_IStream));
}

TEST_P(IStorageCopy, CopiesAnElement)
{
    if (DoesNotMove()) return;
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Runs"), mRoot, W(u"Copy"), STGMOVE_COPY), S_OK);
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Stream"), mOther, W(u"Stream"), STGMOVE_COPY), S_OK);
    EXPECT_EQ(Names(mRoot), (NameList{u"Copy/", u"Large", u"Runs/", u"Stream"}));
    EXPECT_EQ(Get(mOther, u"Stream"), "bytes");
    const Storage copy = OpenStorage(mRoot, u"Copy");
    EXPECT_EQ(Get(OpenStorage(copy, u"Deep"), u"0002"), "second");
}

TEST_P(IStorageCopy, MovesNothingThatIsOpenOntoAnotherOrUnnamed)
{
    if (DoesNotMove()) return;
    Put(mOther, u"Taken", "taken");
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Stream"), mOther, W(u"Taken"), STGMOVE_MOVE), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Nothing"), mOther, W(u"New"), STGMOVE_MOVE), STG_E_FILENOTFOUND);
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Stream"), mOther, W(u"a/b"), STGMOVE_MOVE), STG_E_INVALIDNAME);
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Stream"), mOther, W(u"New"), 2), STG_E_INVALIDFLAG);
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Stream"), nullptr, W(u"New"), STGMOVE_MOVE), STG_E_INVALIDPOINTER);
    const Stream open = OpenStream(mRoot, u"Stream");
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Stream"), mOther, W(u"New"), STGMOVE_MOVE), STG_E_ACCESSDENIED);
    EXPECT_EQ(mRoot->MoveElementTo(W(u"Stream"), mRoot, W(u"New"), STGMOVE_MOVE), STG_E_ACCESSDENIED);
    EXPECT_EQ(Names(mOther), NameList{u"Taken"});
    EXPECT_EQ(Names(mRoot), (NameList{u"Large", u"Runs/", u"Stream"}));
}

TEST(IStorageDepth, StoragesInsideOneAnotherAreCopiedHoweverManyThereAre)
{
    const int iLevels = RunsUnderWine() ? 100 : 40000; // Wine calls itself for each
    const RootFolder folder;
    const Storage root = folder.Create(), other = folder.Create(STGM_DIRECT, "Other.cfb");
    {
        std::vector<Storage> levels;
        for (IStorage* pAbove = root; static_cast<int>(levels.size()) < iLevels; pAbove = levels.back())
            levels.push_back(NewStorage(pAbove, u"Inside"));
        Put(levels.back(), u"Bottom", "reached");
    }
    ASSERT_EQ(root->CopyTo(0, nullptr, nullptr, other), S_OK);
    std::vector<Storage> levels;
    for (IStorage* pAbove = other; static_cast<int>(levels.size()) < iLevels; pAbove = levels.back())
    {
        levels.push_back(OpenStorage(pAbove, u"Inside"));
        ASSERT_TRUE(levels.back());
    }
    EXPECT_EQ(Get(levels.back(), u"Bottom"), "reached");
}
