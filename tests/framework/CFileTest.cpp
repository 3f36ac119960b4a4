// Files of the framework.
#include "CFile.h"
#include "FileHandle.h"
#include "FileRefusal.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

class File : public testing::Test
{
protected:
    static constexpr UINT kuNew = CFile::modeCreate | CFile::modeReadWrite;

    TempFolder mFolder;
    const std::string msFile = mFolder / "file.dat";
};

TEST_F(File, ReadsBackWhatItWrote)
{
    CFile file(msFile.c_str(), kuNew);
    file.Write("hello", 5);
    EXPECT_EQ(file.GetPosition(), 5u);
    EXPECT_EQ(file.GetLength(), 5u);
    file.SeekToBegin();
    char acBuffer[10];
    EXPECT_EQ(file.Read(acBuffer, 10), 5u);
    EXPECT_EQ(file.Read(acBuffer, 10), 0u);
    EXPECT_EQ(file.Read(nullptr, 0), 0u);
    file.Flush();
    file.Close();
    EXPECT_EQ(file.m_hFile, CFile::hFileNull);
    EXPECT_EQ(ReadText(msFile), "hello");
}

TEST_F(File, ReportsAFailedOpenByItsResult)
{
    CFile file;
    CFileException error;
    EXPECT_FALSE(file.Open(msFile.c_str(), CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
    EXPECT_EQ(error.m_lOsError, ERROR_FILE_NOT_FOUND);
    EXPECT_STREQ(error.m_strFileName, msFile.c_str());
    EXPECT_FALSE(file.Open((mFolder / "none/file").c_str(), CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::badPath);
    EXPECT_FALSE(file.Open(mFolder.Path().c_str(), CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::accessDenied);
    EXPECT_FALSE(file.Open(msFile.c_str(), CFile::modeRead));
    EXPECT_EQ(file.m_hFile, CFile::hFileNull);
}

TEST_F(File, ThrowsWhenTheConstructorCannotOpen)
{
    const FileRefusal refusal = RefusalOf([&] { CFile(msFile.c_str(), CFile::modeRead); });
    EXPECT_EQ(refusal.iCause, CFileException::fileNotFound);
    EXPECT_EQ(refusal.lOsError, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(refusal.sFileName, msFile);
}

TEST_F(File, CreatesEmptiesOrKeepsAsItsFlagsSay)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    CFile(msFile.c_str(), CFile::modeReadWrite).Close();
    EXPECT_EQ(ReadText(msFile), "text");
    CFile(msFile.c_str(), CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite).Close();
    EXPECT_EQ(ReadText(msFile), "text");
    CFile(msFile.c_str(), CFile::modeCreate | CFile::modeWrite).Close();
    EXPECT_EQ(ReadText(msFile), "");
    CFile((mFolder / "other").c_str(), CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite).Close();
    EXPECT_EQ(ReadText(mFolder / "other"), "");
}

TEST_F(File, SharesAsItsFlagsSay)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    struct Row { UINT uShare; bool bOthersRead, bOthersWrite; };
    for (const Row row : {Row{CFile::shareCompat, false, false}, Row{CFile::shareExclusive, false, false},
                          Row{CFile::shareDenyWrite, true, false}, Row{CFile::shareDenyRead, false, true},
                          Row{CFile::shareDenyNone, true, true}})
    {
        const CFile holder(msFile.c_str(), CFile::modeRead | row.uShare);
        EXPECT_EQ(OpenError(msFile, kulRead) == NO_ERROR, row.bOthersRead) << row.uShare;
        EXPECT_EQ(OpenError(msFile, kulWrite) == NO_ERROR, row.bOthersWrite) << row.uShare;
        CFile rival;
        CFileException error;
        if (row.bOthersRead) continue;
        EXPECT_FALSE(rival.Open(msFile.c_str(), CFile::modeRead | CFile::shareDenyNone, &error));
        EXPECT_EQ(error.m_cause, CFileException::sharingViolation);
    }
}

TEST_F(File, KnowsItsNames)
{
    CFile file(msFile.c_str(), kuNew);
    EXPECT_STREQ(file.GetFileName(), "file.dat");
    EXPECT_STREQ(file.GetFilePath(), msFile.c_str());
    file.SetFilePath("C:\\folder\\other.dat");
    EXPECT_STREQ(file.GetFileName(), "other.dat");
    file.Close();
    EXPECT_STREQ(file.GetFilePath(), "");
}

TEST_F(File, ClosesItselfAndWhatWasOpenBefore)
{
    {
        CFile file(msFile.c_str(), kuNew | CFile::shareExclusive);
        EXPECT_TRUE(file.Open((mFolder / "other").c_str(), kuNew | CFile::shareExclusive));
        EXPECT_EQ(OpenError(msFile, kulRead), DWORD(NO_ERROR));
        EXPECT_EQ(OpenError(mFolder / "other", kulRead), DWORD(ERROR_SHARING_VIOLATION));
    }
    EXPECT_EQ(OpenError(mFolder / "other", kulRead), DWORD(NO_ERROR));
}

TEST_F(File, LeavesAHandleThatWasGivenToItsOwner)
{
    const FileHandle handle(msFile, kulReadWrite, 0, CREATE_NEW);
    {
        CFile file(handle);
        file.Write("x", 1);
        EXPECT_EQ(static_cast<HANDLE>(file), static_cast<HANDLE>(handle));
    }
    EXPECT_EQ(GetFileSize(handle, nullptr), 1u);
}

TEST_F(File, SeeksWithin64Bits)
{
    CFile file(msFile.c_str(), kuNew);
    EXPECT_EQ(file.Seek(0x123456789, CFile::begin), 0x123456789u);
    EXPECT_EQ(file.Seek(-0x89, CFile::current), 0x123456700u);
    EXPECT_EQ(file.GetLength(), 0u);
    EXPECT_EQ(file.SeekToEnd(), 0u);
    EXPECT_REFUSED(file.Seek(-1, CFile::begin), CFileException::badSeek);
    EXPECT_REFUSED(file.Seek(-1, CFile::end), CFileException::badSeek);
}

TEST_F(File, SetsItsLength)
{
    CFile file(msFile.c_str(), kuNew);
    file.Write("hello", 5);
    file.SetLength(2);
    EXPECT_EQ(file.GetPosition(), 2u);
    file.SetLength(4);
    EXPECT_EQ(file.GetLength(), 4u);
    file.Close();
    EXPECT_EQ(ReadText(msFile), std::string("he\0\0", 4));
}

TEST_F(File, ADuplicateSharesThePositionAndIsClosedByItself)
{
    CFile file(msFile.c_str(), kuNew | CFile::shareExclusive);
    file.Write("hello", 5);
    const std::unique_ptr<CFile> pCopy(file.Duplicate());
    pCopy->Seek(1, CFile::begin);
    EXPECT_EQ(file.GetPosition(), 1u);
    file.Close();
    EXPECT_STREQ(pCopy->GetFilePath(), msFile.c_str());
    char c = 0;
    EXPECT_EQ(pCopy->Read(&c, 1), 1u);
    EXPECT_EQ(c, 'e');
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_SHARING_VIOLATION));
    pCopy->Close();
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(NO_ERROR));
}

TEST_F(File, LocksRangesAgainstOthers)
{
    CFile file(msFile.c_str(), kuNew | CFile::shareDenyNone);
    CFile rival(msFile.c_str(), CFile::modeReadWrite | CFile::shareDenyNone);
    file.LockRange(2, 3);
    EXPECT_REFUSED(rival.LockRange(4, 1), CFileException::lockViolation);
    EXPECT_REFUSED(rival.UnlockRange(2, 3), CFileException::lockViolation);
    file.UnlockRange(2, 3);
    rival.LockRange(4, 1);
}

TEST_F(File, WhatItsHandleCannotDoIsRefused)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    CFile reader(msFile.c_str(), CFile::modeRead | CFile::shareDenyNone);
    CFile writer(msFile.c_str(), CFile::modeWrite | CFile::shareDenyNone);
    char c = 0;
    EXPECT_REFUSED(reader.Write("x", 1), CFileException::accessDenied);
    EXPECT_REFUSED(writer.Read(&c, 1), CFileException::accessDenied);
    EXPECT_EQ(RefusalOf([&] { reader.Write("x", 1); }).sFileName, msFile);
    CFile closed;
    EXPECT_REFUSED(closed.Read(&c, 1), CFileException::invalidFile);
    EXPECT_REFUSED(closed.GetLength(), CFileException::invalidFile);
    closed.Close(); // nothing is open, nothing is wrong
}

TEST_F(File, CloseTellsOfAHandleThatIsGoneAndAbortDoesNot)
{
    CFile first(msFile.c_str(), kuNew), second((mFolder / "other").c_str(), kuNew);
    CloseHandle(first.m_hFile);
    EXPECT_REFUSED(first.Close(), CFileException::invalidFile);
    first.Close(); // only once
    second.Abort();
    second.Abort();
    EXPECT_EQ(second.m_hFile, CFile::hFileNull);
}

TEST_F(File, TellsItsStatusOpenOrNot)
{
    ASSERT_TRUE(WriteText(msFile, "hello"));
    CFileStatus byName, open;
    ASSERT_TRUE(CFile::GetStatus(msFile.c_str(), byName));
    EXPECT_EQ(byName.m_size, 5u);
    EXPECT_EQ(byName.m_attribute, CFile::archive);
    EXPECT_STREQ(byName.m_szFullName, msFile.c_str());
    EXPECT_GT(byName.m_mtime.GetTime(), 1'600'000'000);

    const CFile file(msFile.c_str(), CFile::modeRead);
    ASSERT_TRUE(file.GetStatus(open));
    EXPECT_EQ(open.m_size, byName.m_size);
    EXPECT_EQ(open.m_attribute, byName.m_attribute);
    EXPECT_EQ(open.m_mtime, byName.m_mtime);
    EXPECT_EQ(open.m_ctime, byName.m_ctime);
    EXPECT_STREQ(open.m_szFullName, byName.m_szFullName);

    EXPECT_FALSE(CFile::GetStatus((mFolder / "none").c_str(), byName));
    EXPECT_STREQ(byName.m_szFullName, "");
    ASSERT_TRUE(CFile::GetStatus(mFolder.Path().c_str(), byName));
    EXPECT_EQ(byName.m_attribute, CFile::directory);
}

TEST_F(File, SetsTimesAndAttributes)
{
    ASSERT_TRUE(WriteText(msFile, "hello"));
    CFileStatus status;
    ASSERT_TRUE(CFile::GetStatus(msFile.c_str(), status));
    status.m_mtime = 1'000'000'000;
    status.m_atime = 1'100'000'000;
    status.m_attribute |= CFile::readOnly;
    CFile::SetStatus(msFile.c_str(), status);

    CFileStatus after;
    ASSERT_TRUE(CFile::GetStatus(msFile.c_str(), after));
    EXPECT_EQ(after.m_mtime.GetTime(), 1'000'000'000);
    EXPECT_EQ(after.m_atime.GetTime(), 1'100'000'000);
    EXPECT_EQ(after.m_attribute, CFile::archive | CFile::readOnly);

    status.m_attribute = CFile::archive;
    status.m_mtime = CTime(); // leave the times
    CFile::SetStatus(msFile.c_str(), status);
    ASSERT_TRUE(CFile::GetStatus(msFile.c_str(), after));
    EXPECT_EQ(after.m_mtime.GetTime(), 1'000'000'000);
    EXPECT_EQ(after.m_attribute, CFile::archive);
    EXPECT_REFUSED(CFile::SetStatus((mFolder / "none").c_str(), status), CFileException::fileNotFound);
}

TEST_F(File, IsRenamedAndRemovedByName)
{
    ASSERT_TRUE(WriteText(msFile, "hello"));
    const std::string sNew = mFolder / "new";
    CFile::Rename(msFile.c_str(), sNew.c_str());
    EXPECT_EQ(RefusalOf([&] { CFile::Rename(msFile.c_str(), sNew.c_str()); }).sFileName, msFile);
    EXPECT_REFUSED(CFile::Remove(msFile.c_str()), CFileException::fileNotFound);
    {
        const CFile holder(sNew.c_str(), CFile::modeRead);
        EXPECT_REFUSED(CFile::Remove(sNew.c_str()), CFileException::sharingViolation);
    }
    CFile::Remove(sNew.c_str());
    EXPECT_EQ(OpenError(sNew, kulRead), DWORD(ERROR_FILE_NOT_FOUND));
}

TEST_F(File, AMomentKeepsItsSeconds)
{
    EXPECT_EQ(CTime(FILETIME{0xD53E8000, 0x019DB1DE}).GetTime(), 0);
    EXPECT_EQ(CTime(FILETIME{0, 0}).GetTime(), 0);
    for (LONGLONG llSeconds : {1LL, 1'000'000'000LL, 4'000'000'000LL})
        EXPECT_EQ(CTime(CTime(llSeconds).GetFileTime()).GetTime(), llSeconds);
    EXPECT_LT(CTime(1), CTime(2));
}
