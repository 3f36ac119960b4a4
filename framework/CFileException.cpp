#include "CFileException.h"

#include "ErrorText.h"

IMPLEMENT_DYNAMIC(CFileException, CException)

namespace
{
struct CauseOfError
{
    LONG lOsError;
    int iCause;
};

constexpr CauseOfError kCauses[] = {
    {ERROR_SUCCESS, CFileException::none},
    {ERROR_FILE_NOT_FOUND, CFileException::fileNotFound},
    {ERROR_NO_MORE_FILES, CFileException::fileNotFound},
    {ERROR_PATH_NOT_FOUND, CFileException::badPath},
    {ERROR_INVALID_DRIVE, CFileException::badPath},
    {ERROR_NOT_SAME_DEVICE, CFileException::badPath},
    {ERROR_BAD_NETPATH, CFileException::badPath},
    {ERROR_INVALID_NAME, CFileException::badPath},
    {ERROR_BAD_PATHNAME, CFileException::badPath},
    {ERROR_FILENAME_EXCED_RANGE, CFileException::badPath},
    {ERROR_DIRECTORY, CFileException::badPath},
    {ERROR_TOO_MANY_OPEN_FILES, CFileException::tooManyOpenFiles},
    {ERROR_ACCESS_DENIED, CFileException::accessDenied},
    {ERROR_INVALID_ACCESS, CFileException::accessDenied},
    {ERROR_WRITE_PROTECT, CFileException::accessDenied},
    {ERROR_FILE_EXISTS, CFileException::accessDenied},
    {ERROR_ALREADY_EXISTS, CFileException::accessDenied},
    {ERROR_INVALID_HANDLE, CFileException::invalidFile},
    {ERROR_BAD_FORMAT, CFileException::invalidFile},
    {ERROR_INVALID_DATA, CFileException::invalidFile},
    {ERROR_CURRENT_DIRECTORY, CFileException::removeCurrentDir},
    {ERROR_CANNOT_MAKE, CFileException::directoryFull},
    {ERROR_SEEK, CFileException::badSeek},
    {ERROR_NEGATIVE_SEEK, CFileException::badSeek},
    {ERROR_SEEK_ON_DEVICE, CFileException::badSeek},
    {ERROR_NOT_READY, CFileException::hardIO},
    {ERROR_CRC, CFileException::hardIO},
    {ERROR_WRITE_FAULT, CFileException::hardIO},
    {ERROR_READ_FAULT, CFileException::hardIO},
    {ERROR_GEN_FAILURE, CFileException::hardIO},
    {ERROR_IO_DEVICE, CFileException::hardIO},
    {ERROR_SHARING_VIOLATION, CFileException::sharingViolation},
    {ERROR_LOCK_VIOLATION, CFileException::lockViolation},
    {ERROR_NOT_LOCKED, CFileException::lockViolation},
    {ERROR_DISK_FULL, CFileException::diskFull},
    {ERROR_HANDLE_DISK_FULL, CFileException::diskFull},
    {ERROR_HANDLE_EOF, CFileException::endOfFile},
};

// By cause; each follows the file's name and a colon.
constexpr const char* kTexts[] = {
    "there is no error",
    "the file cannot be used",
    "the file does not exist",
    "the path leads nowhere or is not a valid one",
    "too many files are open",
    "access is denied",
    "the file is not open or not of the right kind",
    "the working folder cannot be removed",
    "the folder has no room for another name",
    "the position is outside of what the file can have",
    "the device reports a fault",
    "another program has the file open and does not share it",
    "another program has locked this part of the file",
    "the disk is full",
    "the file ends here",
};
static_assert(sizeof kTexts / sizeof *kTexts == CFileException::endOfFile + 1);
} // namespace

int CFileException::OsErrorToException(LONG lOsError)
{
    for (const CauseOfError& row : kCauses)
        if (row.lOsError == lOsError) return row.iCause;
    return generic;
}

void CFileException::ThrowOsError(LONG lOsError, const char* pFileName)
{
    if (lOsError != ERROR_SUCCESS) AfxThrowFileException(OsErrorToException(lOsError), lOsError, pFileName);
}

BOOL CFileException::GetErrorMessage(char* pText, UINT uMaxChars, UINT* puHelpContext)
{
    const bool bKnown = m_cause >= none && m_cause <= endOfFile;
    CString sText = m_strFileName.IsEmpty() ? CString("A file") : m_strFileName;
    sText += ": ";
    sText += kTexts[bKnown ? m_cause : generic];
    AfxGiveErrorText(sText + ".", pText, uMaxChars, puHelpContext);
    return TRUE;
}

void AfxThrowFileException(int iCause, LONG lOsError, const char* pFileName)
{
    throw new CFileException(iCause, lOsError, pFileName);
}
