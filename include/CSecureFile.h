// Files opened, and looked after by name, under the configured user's identity. Otherwise the files of the framework.
#pragma once

#include "CFile.h"
#include "CStdioFile.h"

class CSecureFile : public CFile
{
public:
    CSecureFile() = default;
    explicit CSecureFile(HANDLE hFile) : CFile(hFile) {}
    CSecureFile(const char* pFileName, UINT uOpenFlags); // throws CFileException* when it does not open

    BOOL Open(const char* pFileName, UINT uOpenFlags, CFileException* pError = nullptr) override;

    using CFile::GetStatus; // of the open file
    // An exception of the framework's call leaves the thread impersonating.
    static void Rename(const char* pOldName, const char* pNewName);
    static void Remove(const char* pFileName);
    static BOOL GetStatus(const char* pFileName, CFileStatus& status);
    static void SetStatus(const char* pFileName, const CFileStatus& status);
};
static_assert(sizeof(CSecureFile) == sizeof(CFile));

class CSecureStdioFile : public CStdioFile
{
public:
    CSecureStdioFile() = default;
    explicit CSecureStdioFile(FILE* pStream) : CStdioFile(pStream) {}
    CSecureStdioFile(const char* pFileName, UINT uOpenFlags); // throws CFileException* when it does not open

    BOOL Open(const char* pFileName, UINT uOpenFlags, CFileException* pError = nullptr) override;

    using CFile::GetStatus; // of the open file
    // An exception of the framework's call leaves the thread impersonating.
    static void Rename(const char* pOldName, const char* pNewName);
    static void Remove(const char* pFileName);
    static BOOL GetStatus(const char* pFileName, CFileStatus& status);
    static void SetStatus(const char* pFileName, const CFileStatus& status);
};
static_assert(sizeof(CSecureStdioFile) == sizeof(CStdioFile));
