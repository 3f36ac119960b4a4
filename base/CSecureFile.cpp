#include "CSecureFile.h"

#include "Impersonated.h"

CSecureFile::CSecureFile(const char* pFileName, UINT uOpenFlags)
{
    CFileException error;
    if (!Open(pFileName, uOpenFlags, &error)) AfxThrowFileException(error.m_cause, error.m_lOsError, error.m_strFileName);
}

BOOL CSecureFile::Open(const char* pFileName, UINT uOpenFlags, CFileException* pError)
{
    return Impersonated([&] { return CFile::Open(pFileName, uOpenFlags, pError); });
}

void CSecureFile::Rename(const char* pOldName, const char* pNewName)
{
    Impersonated([&] { CFile::Rename(pOldName, pNewName); });
}

void CSecureFile::Remove(const char* pFileName)
{
    Impersonated([&] { CFile::Remove(pFileName); });
}

BOOL CSecureFile::GetStatus(const char* pFileName, CFileStatus& status)
{
    return Impersonated([&] { return CFile::GetStatus(pFileName, status); });
}

void CSecureFile::SetStatus(const char* pFileName, const CFileStatus& status)
{
    Impersonated([&] { CFile::SetStatus(pFileName, status); });
}

CSecureStdioFile::CSecureStdioFile(const char* pFileName, UINT uOpenFlags)
{
    CFileException error;
    if (!Open(pFileName, uOpenFlags, &error)) AfxThrowFileException(error.m_cause, error.m_lOsError, error.m_strFileName);
}

BOOL CSecureStdioFile::Open(const char* pFileName, UINT uOpenFlags, CFileException* pError)
{
    return Impersonated([&] { return CStdioFile::Open(pFileName, uOpenFlags, pError); });
}

// By name a text file is a file like any other.
void CSecureStdioFile::Rename(const char* pOldName, const char* pNewName) { CSecureFile::Rename(pOldName, pNewName); }

void CSecureStdioFile::Remove(const char* pFileName) { CSecureFile::Remove(pFileName); }

BOOL CSecureStdioFile::GetStatus(const char* pFileName, CFileStatus& status) { return CSecureFile::GetStatus(pFileName, status); }

void CSecureStdioFile::SetStatus(const char* pFileName, const CFileStatus& status) { CSecureFile::SetStatus(pFileName, status); }
