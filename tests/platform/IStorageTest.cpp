// A storage as a whole: what it tells of itself, commits and reverts, and what becomes of that which it gave out.
#include "StorageParts.h"
#include "Wine.h"

#include <atomic>
#include <thread>

namespace
{
class IStorageTest : public testing::TestWithParam<DWORD>
{
protected:
    RootFolder mFolder;
    Storage mRoot = mFolder.Create(GetParam());
};
INSTANTIATE_TEST_SUITE_P(Modes, IStorageTest, testing::Values(STGM_DIRECT, STGM_TRANSACTED));

constexpr DWORD kulReadElement = STGM_READ | STGM_SHARE_EXCLUSIVE;
constexpr DWORD kulWriteElement = STGM_WRITE | STGM_SHARE_EXCLUSIVE;
} // namespace

TEST_P(IStorageTest, TellsWhatItIs)
{
    const Storage runs = NewStorage(mRoot, u"Runs");
    EXPECT_EQ(runs->SetClass(IID_IStream), S_OK);
    EXPECT_EQ(runs->SetStateBits(0xFF, 0x0F), S_OK);
    EXPECT_EQ(runs->SetStateBits(0x30, 0xFFF0), S_OK);
    STATSTG stat;
    ASSERT_EQ(runs->Stat(&stat, STATFLAG_DEFAULT), S_OK);
    EXPECT_EQ(TakeName(stat), u"Runs");
    EXPECT_EQ(stat.type, DWORD{STGTY_STORAGE});
    EXPECT_EQ(stat.cbSize.QuadPart, 0u);
    EXPECT_EQ(stat.grfMode, kulElement);
    EXPECT_EQ(stat.grfStateBits, 0x3Fu);
    EXPECT_TRUE(IsEqualGUID(stat.clsid, IID_IStream));
    ASSERT_EQ(runs->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(stat.pwcsName, nullptr);
    EXPECT_EQ(runs->Stat(&stat, 3), WineSays(S_OK, STG_E_INVALIDFLAG)); // Wine takes any number
}

TEST_P(IStorageTest, HasTheFilesNameAsARoot)
{
    STATSTG stat;
    ASSERT_EQ(mRoot->Stat(&stat, STATFLAG_DEFAULT), S_OK);
    EXPECT_EQ(TakeName(stat), mFolder.Name());
    EXPECT_EQ(stat.type, DWORD{STGTY_STORAGE});
    EXPECT_EQ(stat.grfMode & (kulElement | STGM_TRANSACTED), kulElement | GetParam());
}

TEST_P(IStorageTest, KeepsItsPropertiesInTheFile)
{
    EXPECT_EQ(mRoot->SetClass(IID_IStorage), S_OK);
    EXPECT_EQ(mRoot->SetStateBits(6, 7), S_OK);
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    mRoot.Reset();
    mRoot = mFolder.Open();
    STATSTG stat;
    ASSERT_EQ(mRoot->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_TRUE(IsEqualGUID(stat.clsid, IID_IStorage));
    EXPECT_EQ(stat.grfStateBits, WineSays(0u, 6u)); // Wine writes these bits to no file
}

TEST_P(IStorageTest, CommitsWithEveryFlagThatThereIs)
{
    int iCommit = 0;
    for (const DWORD ulFlags : {STGC_DEFAULT, STGC_OVERWRITE, STGC_ONLYIFCURRENT, STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE,
                                STGC_CONSOLIDATE})
    {
        Put(mRoot, u"Count", std::to_string(++iCommit));
        EXPECT_EQ(mRoot->Commit(ulFlags), S_OK) << ulFlags;
    }
    EXPECT_EQ(mRoot->Commit(16), WineSays(S_OK, STG_E_INVALIDFLAG)); // Wine takes any number
    mRoot.Reset();
    EXPECT_EQ(Get(mRoot = mFolder.Open(), u"Count"), "5");
}

TEST_P(IStorageTest, RevertsOnlyInATransaction)
{
    Put(mRoot, u"Stream", "committed");
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    Put(mRoot, u"Stream", "changed");
    const Storage sub = NewStorage(mRoot, u"Sub");
    const Stream inside = NewStream(sub, u"Inside");
    EXPECT_EQ(mRoot->Revert(), S_OK);
    const bool bKept = GetParam() == STGM_DIRECT;
    EXPECT_EQ(inside->Write("x", 1, nullptr), bKept ? S_OK : STG_E_REVERTED);
    EXPECT_EQ(TryStorage(sub, u"Nothing"), bKept ? STG_E_FILENOTFOUND : STG_E_REVERTED);
    EXPECT_EQ(Get(mRoot, u"Stream"), bKept ? "changed" : "committed");
    Put(mRoot, u"Stream", "again");
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(Get(mRoot, u"Stream"), "again");
}

TEST_P(IStorageTest, RevokesWhatItGaveOutWhenItEnds)
{
    Storage sub = NewStorage(mRoot, u"Sub");
    const Stream direct = NewStream(mRoot, u"Stream");
    const Stream inside = NewStream(sub, u"Inside");
    sub.Reset();
    EXPECT_EQ(inside->Write("x", 1, nullptr), STG_E_REVERTED);
    EXPECT_EQ(direct->Write("x", 1, nullptr), S_OK);
    mRoot.Reset();
    EXPECT_EQ(direct->Write("x", 1, nullptr), STG_E_REVERTED);
    mRoot = mFolder.Open(); // the file is closed, whoever still holds something
    EXPECT_EQ(Names(mRoot).size(), GetParam() == STGM_DIRECT ? 2u : 0u);
}

TEST_P(IStorageTest, GivesNoMoreAccessThanItHas)
{
    Put(mRoot, u"Stream", "bytes");
    NewStorage(mRoot, u"Sub");
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    mRoot.Reset();
    mRoot = mFolder.Open(STGM_READ | STGM_SHARE_DENY_WRITE);
    Stream stream;
    Storage storage;
    EXPECT_EQ(mRoot->CreateStream(W(u"New"), kulElement, 0, 0, stream.Out()), STG_E_ACCESSDENIED);
    EXPECT_EQ(mRoot->CreateStream(W(u"New"), kulReadElement, 0, 0, stream.Out()), STG_E_ACCESSDENIED);
    EXPECT_EQ(mRoot->CreateStorage(W(u"New"), kulElement, 0, 0, storage.Out()), STG_E_ACCESSDENIED);
    EXPECT_EQ(mRoot->DestroyElement(W(u"Stream")), STG_E_ACCESSDENIED);
    // Wine calls it a wrong flag, and changes names and properties in memory before it finds that it cannot write.
    EXPECT_EQ(TryStream(mRoot, u"Stream", kulElement), WineSays(STG_E_INVALIDFLAG, STG_E_ACCESSDENIED));
    EXPECT_EQ(TryStorage(mRoot, u"Sub", kulElement), STG_E_ACCESSDENIED);
    EXPECT_EQ(mRoot->SetStateBits(1, 1), WineSays(S_OK, STG_E_ACCESSDENIED));
    EXPECT_EQ(mRoot->SetElementTimes(W(u"Sub"), nullptr, nullptr, nullptr), WineSays(S_OK, STG_E_ACCESSDENIED));
    EXPECT_EQ(mRoot->SetClass(IID_IStorage), WineSays(STG_E_WRITEFAULT, STG_E_ACCESSDENIED));
    EXPECT_EQ(Get(mRoot, u"Stream"), "bytes");
    EXPECT_EQ(mRoot->RenameElement(W(u"Stream"), W(u"Other")), WineSays(STG_E_WRITEFAULT, STG_E_ACCESSDENIED));
    EXPECT_EQ(Get(mRoot, WineSays(u"Other", u"Stream")), "bytes");
}

TEST_P(IStorageTest, IsWrittenOnlyWhenThatIsWhatItWasOpenedFor)
{
    NewStorage(mRoot, u"Sub");
    const Storage sub = OpenStorage(mRoot, u"Sub", kulWriteElement);
    EXPECT_EQ(TryStream(sub, u"New", kulElement), WineSays(STG_E_INVALIDFLAG, STG_E_ACCESSDENIED)); // a wrong flag to Wine
    NewStream(sub, u"New", kulWriteElement);
    // To Wine, it can be read as well.
    const HRESULT hrRead = WineSays(S_OK, STG_E_ACCESSDENIED);
    Enumeration elements;
    EXPECT_EQ(sub->EnumElements(0, nullptr, 0, elements.Out()), hrRead);
    EXPECT_EQ(sub->CopyTo(0, nullptr, nullptr, mRoot), hrRead);
    EXPECT_EQ(TryStream(sub, u"New", kulReadElement), hrRead);
}

TEST_P(IStorageTest, RefusesModesThatElementsDoNotHave)
{
    struct Row
    {
        DWORD ulMode;
        HRESULT hrStream, hrStorage;
    };
    constexpr DWORD kulRw = STGM_READWRITE;
    constexpr Row kRows[] = {
        {kulRw, STG_E_INVALIDFLAG, STG_E_INVALIDFLAG},
        {kulRw | STGM_SHARE_DENY_NONE, STG_E_INVALIDFLAG, STG_E_INVALIDFUNCTION},
        {kulRw | STGM_SHARE_DENY_WRITE, STG_E_INVALIDFLAG, STG_E_INVALIDFUNCTION},
        {kulRw | STGM_SHARE_DENY_READ, STG_E_INVALIDFLAG, STG_E_INVALIDFUNCTION},
        {kulElement | 3, STG_E_INVALIDFLAG, STG_E_INVALIDFLAG},
        {kulElement | 0x80000000u, STG_E_INVALIDFLAG, STG_E_INVALIDFLAG},
        {kulElement | STGM_NOSCRATCH, STG_E_INVALIDFLAG, STG_E_INVALIDFLAG},
        {kulElement | STGM_NOSNAPSHOT, STG_E_INVALIDFLAG, STG_E_INVALIDFLAG},
        {kulElement | STGM_CREATE | STGM_CONVERT, STG_E_INVALIDFLAG, STG_E_INVALIDFLAG},
        {kulElement | STGM_DELETEONRELEASE, STG_E_INVALIDFUNCTION, STG_E_INVALIDFLAG},
    };
    for (const Row& row : kRows)
    {
        Stream stream;
        Storage storage;
        EXPECT_EQ(mRoot->CreateStream(W(u"New"), row.ulMode, 0, 0, stream.Out()), row.hrStream) << std::hex << row.ulMode;
        EXPECT_EQ(mRoot->CreateStorage(W(u"New"), row.ulMode, 0, 0, storage.Out()), row.hrStorage) << std::hex << row.ulMode;
        if (RunsUnderWine()) mRoot->DestroyElement(W(u"New")); // which makes a storage before it looks at the shares
    }
    Stream stream;
    EXPECT_EQ(mRoot->CreateStream(W(u"New"), kulTransacted, 0, 0, stream.Out()), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(TryStream(mRoot, u"New", kulTransacted), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(TryStorage(mRoot, u"New", kulElement | STGM_PRIORITY), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(TryStorage(mRoot, u"New", kulElement | STGM_DELETEONRELEASE), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(Names(mRoot), NameList{});
}

TEST_P(IStorageTest, RefusesWhatMustBeNothing)
{
    Stream stream;
    Storage storage;
    EXPECT_EQ(mRoot->CreateStream(nullptr, kulElement, 0, 0, stream.Out()), STG_E_INVALIDNAME);
    EXPECT_EQ(mRoot->CreateStorage(nullptr, kulElement, 0, 0, storage.Out()), STG_E_INVALIDNAME);
    EXPECT_EQ(mRoot->CreateStream(W(u"New"), kulElement, 0, 0, nullptr), STG_E_INVALIDPOINTER);
    EXPECT_EQ(mRoot->CreateStorage(W(u"New"), kulElement, 0, 0, nullptr), STG_E_INVALIDPOINTER);
    EXPECT_EQ(mRoot->CreateStream(W(u"New"), kulElement, 1, 0, stream.Out()), STG_E_INVALIDPARAMETER);
    EXPECT_EQ(mRoot->CreateStream(W(u"New"), kulElement, 0, 1, stream.Out()), STG_E_INVALIDPARAMETER);
    NewStorage(mRoot, u"Sub");
    LPOLESTR aNames[] = {const_cast<LPOLESTR>(W(u"Name")), nullptr};
    EXPECT_EQ(mRoot->OpenStorage(W(u"Sub"), nullptr, kulElement, aNames, 0, storage.Out()), STG_E_INVALIDPARAMETER);
    // Wine has codes of its own from here on.
    EXPECT_EQ(mRoot->CreateStorage(W(u"New"), kulElement, 1, 0, storage.Out()), WineSays(S_OK, STG_E_INVALIDPARAMETER));
    storage.Reset();
    EXPECT_EQ(mRoot->OpenStorage(W(u"Sub"), mRoot, kulElement, nullptr, 0, storage.Out()), WineSays(S_OK, STG_E_INVALIDPARAMETER));
    storage.Reset();
    EXPECT_EQ(mRoot->OpenStream(nullptr, nullptr, kulElement, 0, stream.Out()), WineSays(E_INVALIDARG, STG_E_INVALIDNAME));
    EXPECT_EQ(mRoot->OpenStream(W(u"New"), nullptr, kulElement, 0, nullptr), WineSays(E_INVALIDARG, STG_E_INVALIDPOINTER));
    if (RunsUnderWine()) return; // which ends the program
    EXPECT_EQ(mRoot->OpenStream(W(u"New"), &stream, kulElement, 0, stream.Out()), STG_E_INVALIDPARAMETER);
    EXPECT_EQ(mRoot->RenameElement(W(u"Sub"), nullptr), STG_E_INVALIDNAME);
    EXPECT_EQ(mRoot->Stat(nullptr, STATFLAG_DEFAULT), STG_E_INVALIDPOINTER);
}

TEST_P(IStorageTest, LetsOneThreadInAtATime)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine's storages belong to one thread";
    Storage aStorages[4];
    for (int i = 0; i < 4; ++i) aStorages[i] = NewStorage(mRoot, std::u16string(1, static_cast<char16_t>('a' + i)).c_str());
    std::vector<std::thread> threads;
    for (IStorage* pStorage : aStorages)
        threads.emplace_back(
            [pStorage]
            {
                for (int i = 0; i < 50; ++i)
                    Put(pStorage, (u"Stream" + Widen(std::to_string(i))).c_str(), std::string(i * 100, 't'));
            });
    for (std::thread& thread : threads) thread.join();
    for (IStorage* pStorage : aStorages)
    {
        EXPECT_EQ(Names(pStorage).size(), 50u);
        EXPECT_EQ(Get(pStorage, u"Stream49"), std::string(4900, 't'));
    }
}

TEST_P(IStorageTest, IsUsedByThreadsThatCopyListMoveAndCommit)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine's storages belong to one thread";
    constexpr int kiRounds = 60;
    const Storage from = NewStorage(mRoot, u"From"), to = NewStorage(mRoot, u"To");
    Put(NewStorage(from, u"Inside"), u"Kept", "kept");
    std::atomic<int> iFailures = 0;
    const auto repeat = [&](auto call)
    {
        return std::thread(
            [&iFailures, call]
            {
                for (int i = 0; i < kiRounds; ++i)
                    if (FAILED(call(i))) ++iFailures;
            });
    };
    std::vector<std::thread> threads;
    threads.push_back(repeat([&](int) { return from->CopyTo(0, nullptr, nullptr, to); }));
    threads.push_back(repeat([&](int) { return mRoot->Commit(STGC_DEFAULT); }));
    threads.push_back(repeat(
        [&](int i)
        {
            Put(mRoot, u"Moved", std::to_string(i));
            mRoot->DestroyElement(W(u"Last"));
            return mRoot->MoveElementTo(W(u"Moved"), mRoot, W(u"Last"), STGMOVE_MOVE);
        }));
    threads.push_back(repeat(
        [&](int i)
        {
            const Storage inside = NewStorage(mRoot, u"Transaction", kulTransacted | STGM_CREATE);
            Put(inside, u"Round", std::to_string(i));
            return inside->Commit(STGC_DEFAULT);
        }));
    threads.push_back(repeat([&](int) { return Names(mRoot).size() >= 2 ? S_OK : E_FAIL; }));
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iFailures, 0);
    EXPECT_EQ(Get(mRoot, u"Last"), std::to_string(kiRounds - 1));
    EXPECT_EQ(Get(OpenStorage(mRoot, u"Transaction"), u"Round"), std::to_string(kiRounds - 1));
    EXPECT_EQ(Get(OpenStorage(to, u"Inside"), u"Kept"), "kept");
}
