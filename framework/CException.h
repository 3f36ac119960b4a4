// The exceptions that are thrown by pointer, and the one for exhausted memory.
//
//  * Whoever swallows one calls Delete(): it frees what was made with new and leaves the others alone.
#pragma once

#include "CObject.h"

class CException : public CObject
{
    DECLARE_DYNAMIC(CException)

public:
    CException() = default;
    explicit CException(BOOL bAutoDelete) : m_bAutoDelete(bAutoDelete) {}

    void Delete();

    // GetErrorMessage: a text for people, cut to uMaxChars bytes with its terminator. FALSE, and an empty text, when the
    //   exception has none. *puHelpContext: always 0.
    virtual BOOL GetErrorMessage(char* pText, UINT uMaxChars, UINT* puHelpContext = nullptr);
    // ReportError: shows that text, or one that names uError, in a message box; returns the button.
    virtual int ReportError(UINT uType = MB_OK, UINT uError = 0);

    BOOL m_bAutoDelete = TRUE;
};

// Memory is exhausted. Thrown by AfxThrowMemoryException, which takes none.
class CMemoryException : public CException
{
    DECLARE_DYNAMIC(CMemoryException)

public:
    CMemoryException() = default;
    explicit CMemoryException(BOOL bAutoDelete) : CException(bAutoDelete) {}

    BOOL GetErrorMessage(char* pText, UINT uMaxChars, UINT* puHelpContext = nullptr) override;
};
