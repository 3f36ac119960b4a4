// The framework's root classes and its exceptions.
#include "AfxMessage.h"
#include "CFileException.h"
#include "NoLargeBlocks.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

namespace
{
std::string gsShown;

int Show(const char* pText, const char* pCaption)
{
    gsShown = std::string(pCaption) + ": " + pText;
    return 7;
}

// An exception of a client's own that counts its lives.
class CLampException : public CException
{
    DECLARE_DYNAMIC(CLampException)
public:
    explicit CLampException(BOOL bAutoDelete) : CException(bAutoDelete) { ++miAlive; }
    ~CLampException() override { --miAlive; }

    BOOL GetErrorMessage(char* pText, UINT uMaxChars, UINT* = nullptr) override
    {
        std::snprintf(pText, uMaxChars, "the lamp is out");
        return TRUE;
    }
    static inline int miAlive = 0;
};
IMPLEMENT_DYNAMIC(CLampException, CException)

class Exception : public testing::Test
{
protected:
    Exception() { LumSetMessageHook(Show); }
    ~Exception() override { LumSetMessageHook(nullptr); }
};
} // namespace

TEST_F(Exception, KnowsItsClassAtRunTime)
{
    const CMemoryException memory;
    const CObject* pObject = &memory;
    EXPECT_STREQ(pObject->GetRuntimeClass()->m_lpszClassName, "CMemoryException");
    EXPECT_EQ(pObject->GetRuntimeClass(), RUNTIME_CLASS(CMemoryException));
    EXPECT_TRUE(pObject->IsKindOf(RUNTIME_CLASS(CException)));
    EXPECT_TRUE(pObject->IsKindOf(RUNTIME_CLASS(CObject)));
    EXPECT_FALSE(pObject->IsKindOf(RUNTIME_CLASS(CFileException)));
    EXPECT_STREQ(CFileException().GetRuntimeClass()->m_lpszClassName, "CFileException");
    EXPECT_STREQ(CException().GetRuntimeClass()->m_lpszClassName, "CException");
}

TEST_F(Exception, HasItsVirtualMembersInTheirOrder)
{
    // A client's own class overrides a member of each slot; calling through the table shows where each stands.
    struct Probe : CException
    {
        const CRuntimeClass* GetRuntimeClass() const override { return Note(0), nullptr; }
        void Serialize(CArchive&) override { Note(2); }
        void AssertValid() const override { Note(3); }
        void Dump(CDumpContext&) const override { Note(4); }
        BOOL GetErrorMessage(char*, UINT, UINT*) override { return Note(5), 0; }
        int ReportError(UINT, UINT) override { return Note(6), 0; }
        void Note(int iSlot) const { miCalled = iSlot; }
        mutable int miCalled = -1;
    } probe;
    // The toolchains of both systems keep two entries for a destructor, so that what follows it stands one later.
    void* const* pTable = nullptr;
    std::memcpy(&pTable, static_cast<void*>(&probe), sizeof pTable);
    for (int iSlot : {0, 2, 3, 4, 5, 6})
    {
        using Member = void* (*)(Probe*, void*, UINT, UINT*);
        reinterpret_cast<Member>(pTable[iSlot > 0 ? iSlot + 1 : 0])(&probe, nullptr, 0, nullptr);
        EXPECT_EQ(probe.miCalled, iSlot);
    }
}

TEST_F(Exception, IsFreedByDeleteOnlyWhenItWasMadeForThat)
{
    (new CLampException(TRUE))->Delete();
    EXPECT_EQ(CLampException::miAlive, 0);
    CLampException lasting(FALSE);
    lasting.Delete();
    EXPECT_EQ(CLampException::miAlive, 1);
    EXPECT_TRUE(CException().m_bAutoDelete);
}

TEST_F(Exception, ReportsItsMessageUnderTheProgramsName)
{
    EXPECT_STREQ(AfxGetAppName(), "FrameworkTests");
    EXPECT_EQ(CLampException(FALSE).ReportError(), 7);
    EXPECT_EQ(gsShown, "FrameworkTests: the lamp is out");
}

TEST_F(Exception, WithoutAMessageSaysSo)
{
    char acText[20] = "old";
    UINT uHelp = 9;
    CException bare;
    EXPECT_FALSE(bare.GetErrorMessage(acText, sizeof acText, &uHelp));
    EXPECT_STREQ(acText, "");
    EXPECT_EQ(uHelp, 0u);
    bare.ReportError();
    EXPECT_EQ(gsShown, "FrameworkTests: No error message is available.");
    bare.ReportError(MB_OK, 19004);
    EXPECT_EQ(gsShown, "FrameworkTests: Error 19004: no error message is available.");
}

TEST_F(Exception, AMessageIsCutToTheRoomThereIs)
{
    char acText[8] = "???????";
    EXPECT_TRUE(CMemoryException().GetErrorMessage(acText, 7));
    EXPECT_STREQ(acText, "Out of");
    EXPECT_TRUE(CMemoryException().GetErrorMessage(acText, 1));
    EXPECT_STREQ(acText, "");
    EXPECT_TRUE(CMemoryException().GetErrorMessage(acText, 0));
    EXPECT_TRUE(CMemoryException().GetErrorMessage(nullptr, 8));
}

TEST_F(Exception, MessageBoxesShowWhateverStyleIsAskedFor)
{
    EXPECT_EQ(AfxMessageBox("plain"), 7);
    EXPECT_EQ(gsShown, "FrameworkTests: plain");
    EXPECT_EQ(AfxMessageBox("ReportError: Error=%d", 12345, 0), 7);
    EXPECT_EQ(gsShown, "FrameworkTests: ReportError: Error=%d");
}

TEST_F(Exception, ExhaustedMemoryIsOneObjectThatLasts)
{
    CMemoryException* pFirst = nullptr;
    for (int i = 0; i < 3; ++i)
    {
        try
        {
            AfxThrowMemoryException();
        }
        catch (CException* pEx)
        {
            EXPECT_TRUE(pEx->IsKindOf(RUNTIME_CLASS(CMemoryException)));
            EXPECT_TRUE(!pFirst || pEx == pFirst);
            pFirst = static_cast<CMemoryException*>(pEx);
            pEx->Delete();
        }
    }
    ASSERT_NE(pFirst, nullptr);
    char acText[40];
    EXPECT_TRUE(pFirst->GetErrorMessage(acText, sizeof acText));
    EXPECT_STREQ(acText, "Out of memory.");
}

TEST_F(Exception, AllocationThrowsWhenMemoryIsExhausted)
{
    NoLargeBlocks exhausted;
    EXPECT_THROW(CString('x', 0x7FFFFFFF).IsEmpty(), CMemoryException*);
    void* pBlock = AfxAllocate(100);
    EXPECT_NE(pBlock, nullptr);
    AfxFree(pBlock);
}

TEST_F(Exception, AFilesExceptionCarriesCauseErrorAndName)
{
    try
    {
        CFileException::ThrowOsError(ERROR_SHARING_VIOLATION, "C:\\data\\run.dat");
        FAIL() << "nothing was thrown";
    }
    catch (CFileException* pEx)
    {
        EXPECT_EQ(pEx->m_cause, CFileException::sharingViolation);
        EXPECT_EQ(pEx->m_lOsError, ERROR_SHARING_VIOLATION);
        EXPECT_STREQ(pEx->m_strFileName, "C:\\data\\run.dat");
        char acText[200];
        EXPECT_TRUE(pEx->GetErrorMessage(acText, sizeof acText));
        EXPECT_STREQ(acText, "C:\\data\\run.dat: another program has the file open and does not share it.");
        pEx->Delete();
    }
    CFileException::ThrowOsError(ERROR_SUCCESS); // no error, no exception
}

TEST_F(Exception, EveryCauseOfAFilesExceptionHasItsNumberAndAText)
{
    EXPECT_EQ(CFileException::none, 0);
    EXPECT_EQ(CFileException::fileNotFound, 2);
    EXPECT_EQ(CFileException::diskFull, 13);
    EXPECT_EQ(CFileException::endOfFile, 14);
    for (int iCause = CFileException::none; iCause <= CFileException::endOfFile; ++iCause)
    {
        char acText[200] = "";
        EXPECT_TRUE(CFileException(iCause).GetErrorMessage(acText, sizeof acText));
        EXPECT_GT(std::strlen(acText), std::strlen("A file: .")) << iCause;
    }
    char acText[200] = "";
    EXPECT_TRUE(CFileException(99, -1, "file").GetErrorMessage(acText, sizeof acText));
    EXPECT_STREQ(acText, "file: the file cannot be used.");
}

TEST_F(Exception, SystemErrorsHaveTheirCauses)
{
    struct Row { LONG lOsError; int iCause; };
    constexpr Row kRows[] = {
        {ERROR_SUCCESS, CFileException::none},
        {ERROR_FILE_NOT_FOUND, CFileException::fileNotFound},
        {ERROR_PATH_NOT_FOUND, CFileException::badPath},
        {ERROR_TOO_MANY_OPEN_FILES, CFileException::tooManyOpenFiles},
        {ERROR_ACCESS_DENIED, CFileException::accessDenied},
        {ERROR_INVALID_HANDLE, CFileException::invalidFile},
        {ERROR_CURRENT_DIRECTORY, CFileException::removeCurrentDir},
        {ERROR_CANNOT_MAKE, CFileException::directoryFull},
        {ERROR_NEGATIVE_SEEK, CFileException::badSeek},
        {ERROR_IO_DEVICE, CFileException::hardIO},
        {ERROR_LOCK_VIOLATION, CFileException::lockViolation},
        {ERROR_DISK_FULL, CFileException::diskFull},
        {ERROR_HANDLE_EOF, CFileException::endOfFile},
        {123456, CFileException::generic},
    };
    for (const Row& row : kRows)
        EXPECT_EQ(CFileException::OsErrorToException(row.lOsError), row.iCause) << row.lOsError;
}
