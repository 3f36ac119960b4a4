// What went wrong with a file: a cause that a program can act on, the system's error, and the file's name.
#pragma once

#include "CException.h"
#include "CString.h"

class CFileException : public CException
{
    DECLARE_DYNAMIC(CFileException)

public:
    enum
    {
        none,
        generic,
        fileNotFound,
        badPath,
        tooManyOpenFiles,
        accessDenied,
        invalidFile,
        removeCurrentDir,
        directoryFull,
        badSeek,
        hardIO,
        sharingViolation,
        lockViolation,
        diskFull,
        endOfFile
    };

    explicit CFileException(int iCause = none, LONG lOsError = -1, const char* pFileName = nullptr)
        : m_cause(iCause), m_lOsError(lOsError), m_strFileName(pFileName)
    {
    }

    // OsErrorToException: the cause that a system error stands for.
    static int OsErrorToException(LONG lOsError);
    // ThrowOsError: throws a CFileException* for a system error; nothing for error 0.
    static void ThrowOsError(LONG lOsError, const char* pFileName = nullptr);

    BOOL GetErrorMessage(char* pText, UINT uMaxChars, UINT* puHelpContext = nullptr) override;

    int m_cause;
    LONG m_lOsError; // -1 when the system set none
    CString m_strFileName;
};

// AfxThrowFileException: throws a CFileException*.
[[noreturn]] void AfxThrowFileException(int iCause, LONG lOsError = -1, const char* pFileName = nullptr);
