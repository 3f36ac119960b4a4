// Elements that go while the disk cannot be read. Linux only.
#include "StorageParts.h"

#include "FailingFlush.h"
#include "StorageContent.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

namespace
{
const std::string ksOld(100000, 'o');

// A file whose sector table is not read when it is opened.
class ElementFault : public testing::Test
{
protected:
    ElementFault()
    {
        const Storage root = mFolder.Create(), runs = NewStorage(root, u"Runs");
        Put(root, u"First", std::string(3000000, 'f'));
        Put(root, u"Old", ksOld);
        Put(root, u"Small", "small");
        Put(runs, u"Old", ksOld);
        Put(runs, u"Kept", ksOld);
    }
    ~ElementFault() override { LetReads(); }

    static HRESULT WithoutReads(const std::function<HRESULT()>& call)
    {
        FailReadsAfter(0);
        const HRESULT hr = call();
        LetReads();
        return hr;
    }
    std::string DamageInFile() const
    {
        std::ifstream in(std::filesystem::path(mFolder.Name()), std::ios::binary);
        StorageMemory bytes(std::vector<BYTE>(std::istreambuf_iterator<char>(in), {}));
        return DamageOf(bytes);
    }
    RootFolder mFolder;
};
} // namespace

TEST_F(ElementFault, AnElementThatCannotBeDroppedIsNotDestroyed)
{
    for (const char16_t* pName : {u"Old", u"Runs"})
    {
        Storage root = mFolder.Open(kulTransacted);
        EXPECT_EQ(WithoutReads([&] { return root->DestroyElement(W(pName)); }), STG_E_READFAULT);
        EXPECT_EQ(root->Commit(STGC_DEFAULT), S_OK);
        EXPECT_EQ(Names(root), (NameList{u"First", u"Old", u"Runs/", u"Small"}));
        EXPECT_TRUE(Get(root, u"Old") == ksOld);
        EXPECT_TRUE(Get(OpenStorage(root, u"Runs"), u"Kept") == ksOld);
        root.Reset();
        EXPECT_EQ(DamageInFile(), "");
    }
}

TEST_F(ElementFault, AnElementThatCannotBeDroppedIsNotReplaced)
{
    Storage root = mFolder.Open(kulTransacted);
    Stream stream;
    EXPECT_EQ(WithoutReads([&] { return root->CreateStream(W(u"Old"), kulElement | STGM_CREATE, 0, 0, stream.Out()); }),
              STG_E_READFAULT);
    EXPECT_EQ(root->Commit(STGC_DEFAULT), S_OK);
    EXPECT_TRUE(Get(root, u"Old") == ksOld);
    Put(root, u"Old", "new");
    EXPECT_EQ(root->Commit(STGC_DEFAULT), S_OK);
    root.Reset();
    EXPECT_EQ(DamageInFile(), "");
}

TEST_F(ElementFault, ACommitIntoWhatIsBelowThatCannotDropAnElementLeavesIt)
{
    Storage root = mFolder.Open(kulTransacted), runs = OpenStorage(root, u"Runs", kulTransacted);
    EXPECT_EQ(runs->DestroyElement(W(u"Old")), S_OK);
    EXPECT_EQ(WithoutReads([&] { return runs->Commit(STGC_DEFAULT); }), STG_E_READFAULT);
    EXPECT_EQ(root->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(DamageInFile(), "");
    EXPECT_EQ(runs->Commit(STGC_DEFAULT), S_OK);
    runs.Reset();
    EXPECT_EQ(Names(OpenStorage(root, u"Runs")), NameList{u"Kept"});
    EXPECT_EQ(root->Commit(STGC_DEFAULT), S_OK);
    root.Reset();
    EXPECT_EQ(DamageInFile(), "");
}
