// Compound files by name: going back after a commit that failed on its way into the file. Linux only.
#include "StgCalls.h"

#include "FailingFlush.h"
#include "FileHandle.h"
#include "StorageContent.h"
#include "TempFolder.h"

#include <fstream>

namespace
{
class StgRevert : public testing::Test
{
protected:
    void SetUp() override
    {
        MakeTwo(msFile);
        ASSERT_EQ(mRoot.Open(msFile, kulBeside), S_OK);
        ASSERT_EQ(mRoot.Put("One", "changed"), S_OK);
    }
    void TearDown() override
    {
        LetFlushes();
        LetReads();
    }

    // A commit for which so many flushes succeed, then so many fail.
    HRESULT CommitWith(int iAllowed, int iFailures)
    {
        FailFlushes(iAllowed, iFailures);
        const HRESULT hr = mRoot->Commit(STGC_DEFAULT);
        LetFlushes();
        return hr;
    }
    std::string InFile(const std::string& sName)
    {
        Root look;
        EXPECT_EQ(look.Open(msFile, kulLooking), S_OK);
        return look.Get(sName);
    }
    void CommitOfAnother()
    {
        Root other;
        ASSERT_EQ(other.Open(msFile, kulBeside), S_OK);
        ASSERT_EQ(other.Put("There", "there"), S_OK);
        ASSERT_EQ(other->Commit(STGC_DEFAULT), S_OK);
    }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
    Root mRoot;
};
} // namespace

TEST_F(StgRevert, ACommitThatFailsAtAnyFlushLeavesTheFileAndIsReverted)
{
    for (int iAllowed : {0, 1})
        for (int iFailures : {1, 2})
        {
            ASSERT_EQ(mRoot.Put("One", "changed"), S_OK);
            EXPECT_EQ(CommitWith(iAllowed, iFailures), STG_E_WRITEFAULT);
            EXPECT_EQ(InFile("One"), "first");
            EXPECT_EQ(mRoot.Get("One"), "changed");
            ASSERT_EQ(mRoot->Revert(), S_OK);
            EXPECT_EQ(mRoot.Get("One"), "first");
            ASSERT_EQ(mRoot.Put("Two", "other"), S_OK);
            EXPECT_EQ(mRoot->Commit(STGC_ONLYIFCURRENT), S_OK);
            EXPECT_EQ(InFile("One"), "first");
            EXPECT_EQ(InFile("Two"), "other");
        }
}

TEST_F(StgRevert, ACommitThatFailsAtAnyFlushCanBeTriedAgainWithMore)
{
    for (int iAllowed : {0, 1})
        for (int iFailures : {1, 2})
        {
            const std::string sText = std::to_string(iAllowed) + std::to_string(iFailures);
            ASSERT_EQ(mRoot.Put("One", sText), S_OK);
            EXPECT_EQ(CommitWith(iAllowed, iFailures), STG_E_WRITEFAULT);
            ASSERT_EQ(mRoot.Put("Two", std::string(10000, 't')), S_OK);
            EXPECT_EQ(mRoot->Commit(STGC_ONLYIFCURRENT), S_OK);
            EXPECT_EQ(InFile("One"), sText);
            EXPECT_EQ(InFile("Two").size(), 10000u);
        }
}

TEST_F(StgRevert, AReplacementThatFailsAtAnyFlushIsReverted)
{
    CommitOfAnother();
    for (int iAllowed : {0, 1})
    {
        ASSERT_EQ(mRoot.Put("One", "changed"), S_OK);
        EXPECT_EQ(CommitWith(iAllowed, 1), STG_E_WRITEFAULT);
        EXPECT_EQ(InFile("There"), "there");
        ASSERT_EQ(mRoot->Revert(), S_OK);
        EXPECT_EQ(mRoot.Get("One"), "first");
        EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK); // nothing
        EXPECT_EQ(InFile("There"), "there");
    }
    ASSERT_EQ(mRoot.Put("Two", "mine"), S_OK);
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(InFile("One"), "first");
    EXPECT_EQ(InFile("Two"), "mine");
    EXPECT_EQ(InFile("There"), Root::Code(STG_E_FILENOTFOUND));

    // And once more, from what that replacement left.
    ASSERT_EQ(mRoot.Put("Two", "lost"), S_OK);
    EXPECT_EQ(CommitWith(1, 1), STG_E_WRITEFAULT);
    ASSERT_EQ(mRoot->Revert(), S_OK);
    EXPECT_EQ(mRoot.Get("Two"), "mine");
}

TEST_F(StgRevert, ACommitIntoTheFileItselfIsReverted)
{
    for (int iAllowed : {0, 1})
        for (int iFailures : {1, 2})
        {
            ASSERT_EQ(mRoot.Open(msFile, kulOneWriter), S_OK);
            ASSERT_EQ(mRoot.Put("One", "changed"), S_OK);
            EXPECT_EQ(CommitWith(iAllowed, iFailures), STG_E_WRITEFAULT);
            EXPECT_EQ(InFile("One"), "first");
            const bool bKnown = iAllowed == 1 && iFailures == 1; // the old header went back to the disk
            EXPECT_EQ(mRoot.Put("Two", "more"), bKnown ? S_OK : STG_E_WRITEFAULT);
            ASSERT_EQ(mRoot->Revert(), S_OK);
            EXPECT_EQ(mRoot.Get("One"), "first");
            EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        }
}

TEST_F(StgRevert, ACommitBehindWhichTheDiskCannotBeReadHasHappened)
{
    ASSERT_EQ(mRoot.Put("Two", std::string(20000, 't')), S_OK);
    FailReadsAfter(2); // contents and header
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    LetReads();
    EXPECT_EQ(InFile("One"), "changed");
    ASSERT_EQ(mRoot.Put("One", "again"), S_OK);
    EXPECT_EQ(mRoot->Commit(STGC_ONLYIFCURRENT), S_OK);
    EXPECT_EQ(InFile("One"), "again");
    EXPECT_EQ(InFile("Two").size(), 20000u);
}

TEST_F(StgRevert, ACommitOverWhatIsNoCompoundFileAnyMoreIsRefused)
{
    CommitOfAnother();
    {
        std::fstream file(msFile, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(0x1A); // the major version
        file.put(5);
    }
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), STG_E_OLDDLL);
    EXPECT_EQ(mRoot.Get("One"), "changed");
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), STG_E_OLDDLL);
}

// Names that nobody may give any more, as they stand in old files.
TEST_F(StgRevert, ACommitOverThatOfAnotherCopiesWhateverNamesThereAre)
{
    mRoot.Close();
    std::string sBytes = ReadText(msFile);
    const std::u16string sOne = u"Two", sOdd = u"T/o";
    const std::size_t ulAt = sBytes.find(std::string(reinterpret_cast<const char*>(sOne.data()), 6));
    ASSERT_NE(ulAt, std::string::npos);
    sBytes.replace(ulAt, 6, reinterpret_cast<const char*>(sOdd.data()), 6);
    ASSERT_TRUE(WriteText(msFile, sBytes));
    ASSERT_EQ(mRoot.Open(msFile, kulBeside), S_OK);
    ASSERT_EQ(mRoot.Put("One", "changed"), S_OK);
    CommitOfAnother();
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(InFile("T/o"), "second");
    EXPECT_EQ(InFile("One"), "changed");
}
