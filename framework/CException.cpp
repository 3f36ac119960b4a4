#include "CException.h"

#include "AfxMessage.h"
#include "ErrorText.h"

#include <cstdio>

IMPLEMENT_DYNAMIC(CException, CObject)
IMPLEMENT_DYNAMIC(CMemoryException, CException)

void CException::Delete()
{
    if (m_bAutoDelete) delete this;
}

BOOL CException::GetErrorMessage(char* pText, UINT uMaxChars, UINT* puHelpContext)
{
    AfxGiveErrorText("", pText, uMaxChars, puHelpContext);
    return FALSE;
}

int CException::ReportError(UINT uType, UINT uError)
{
    char acMessage[512];
    if (!GetErrorMessage(acMessage, sizeof acMessage))
    {
        if (uError) std::snprintf(acMessage, sizeof acMessage, "Error %u: no error message is available.", uError);
        else std::snprintf(acMessage, sizeof acMessage, "No error message is available.");
    }
    return AfxMessageBox(acMessage, uType);
}

BOOL CMemoryException::GetErrorMessage(char* pText, UINT uMaxChars, UINT* puHelpContext)
{
    AfxGiveErrorText("Out of memory.", pText, uMaxChars, puHelpContext);
    return TRUE;
}

void AfxThrowMemoryException()
{
    // Made in place, once: there is no memory to make one from, and it is the same for every thread that runs out.
    alignas(CMemoryException) static unsigned char aubPlace[sizeof(CMemoryException)];
    static CMemoryException* const pException = new (aubPlace) CMemoryException(FALSE);
    throw pException;
}
