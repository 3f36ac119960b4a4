#include "CFile.h"

#include <memory>

IMPLEMENT_DYNAMIC(CFile, CObject)

namespace
{
DWORD LowPart(ULONGLONG ullValue) { return static_cast<DWORD>(ullValue); }
DWORD HighPart(ULONGLONG ullValue) { return static_cast<DWORD>(ullValue >> 32); }

DWORD AccessOf(UINT uOpenFlags)
{
    switch (uOpenFlags & 3)
    {
    case CFile::modeWrite: return GENERIC_WRITE;
    case CFile::modeReadWrite: return GENERIC_READ | GENERIC_WRITE;
    default: return GENERIC_READ;
    }
}

DWORD ShareOf(UINT uOpenFlags)
{
    switch (uOpenFlags & 0x70)
    {
    case CFile::shareDenyWrite: return FILE_SHARE_READ;
    case CFile::shareDenyRead: return FILE_SHARE_WRITE;
    case CFile::shareDenyNone: return FILE_SHARE_READ | FILE_SHARE_WRITE;
    default: return 0;
    }
}

DWORD DispositionOf(UINT uOpenFlags)
{
    if (!(uOpenFlags & CFile::modeCreate)) return OPEN_EXISTING;
    return uOpenFlags & CFile::modeNoTruncate ? OPEN_ALWAYS : CREATE_ALWAYS;
}

DWORD SystemFlagsOf(UINT uOpenFlags)
{
    DWORD ulFlags = FILE_ATTRIBUTE_NORMAL;
    if (uOpenFlags & CFile::osNoBuffer) ulFlags |= FILE_FLAG_NO_BUFFERING;
    if (uOpenFlags & CFile::osWriteThrough) ulFlags |= FILE_FLAG_WRITE_THROUGH;
    if (uOpenFlags & CFile::osRandomAccess) ulFlags |= FILE_FLAG_RANDOM_ACCESS;
    if (uOpenFlags & CFile::osSequentialScan) ulFlags |= FILE_FLAG_SEQUENTIAL_SCAN;
    return ulFlags;
}

CString FullPath(const char* pFileName)
{
    CString sPath;
    const DWORD ulRoom = GetFullPathNameA(pFileName, 0, nullptr, nullptr);
    if (ulRoom == 0) return pFileName; // not a path; the name itself says most
    const DWORD ulLength = GetFullPathNameA(pFileName, ulRoom, sPath.GetBuffer(static_cast<int>(ulRoom)), nullptr);
    sPath.ReleaseBuffer(ulLength < ulRoom ? static_cast<int>(ulLength) : 0);
    return sPath;
}
} // namespace

CFile::CFile(const char* pFileName, UINT uOpenFlags)
{
    CFileException error;
    if (!CFile::Open(pFileName, uOpenFlags, &error)) AfxThrowFileException(error.m_cause, error.m_lOsError, error.m_strFileName);
}

CFile::~CFile()
{
    if (m_hFile != hFileNull && m_bCloseOnDelete) CloseHandle(m_hFile);
}

void CFile::ThrowLastError() const
{
    const auto lError = static_cast<LONG>(GetLastError());
    AfxThrowFileException(CFileException::OsErrorToException(lError), lError, m_strFileName);
}

BOOL CFile::Open(const char* pFileName, UINT uOpenFlags, CFileException* pError)
{
    if (m_hFile != hFileNull && m_bCloseOnDelete) CFile::Abort();
    m_hFile = hFileNull;
    m_bCloseOnDelete = FALSE;
    m_strFileName = FullPath(pFileName);

    const HANDLE hFile = CreateFileA(pFileName, AccessOf(uOpenFlags), ShareOf(uOpenFlags), nullptr, DispositionOf(uOpenFlags),
                                     SystemFlagsOf(uOpenFlags), nullptr);
    if (hFile == INVALID_HANDLE_VALUE)
    {
        if (pError)
        {
            pError->m_lOsError = static_cast<LONG>(GetLastError());
            pError->m_cause = CFileException::OsErrorToException(pError->m_lOsError);
            pError->m_strFileName = m_strFileName;
        }
        m_strFileName.Empty();
        return FALSE;
    }
    m_hFile = hFile;
    m_bCloseOnDelete = TRUE;
    return TRUE;
}

CString CFile::GetFilePath() const { return m_strFileName; }

void CFile::SetFilePath(const char* pNewName) { m_strFileName = pNewName; }

CString CFile::GetFileName() const
{
    int iFolder = m_strFileName.GetLength();
    while (iFolder > 0 && m_strFileName[iFolder - 1] != '\\' && m_strFileName[iFolder - 1] != '/') --iFolder;
    return m_strFileName.Mid(iFolder);
}

CFile* CFile::Duplicate() const
{
    auto pCopy = std::make_unique<CFile>();
    if (!DuplicateHandle(GetCurrentProcess(), m_hFile, GetCurrentProcess(), &pCopy->m_hFile, 0, FALSE, DUPLICATE_SAME_ACCESS))
        ThrowLastError();
    pCopy->m_bCloseOnDelete = TRUE;
    pCopy->m_strFileName = m_strFileName;
    return pCopy.release();
}

UINT CFile::Read(void* pBuffer, UINT uBytes)
{
    if (uBytes == 0) return 0;
    DWORD ulDone = 0;
    if (!ReadFile(m_hFile, pBuffer, uBytes, &ulDone, nullptr)) ThrowLastError();
    return ulDone;
}

void CFile::Write(const void* pBuffer, UINT uBytes)
{
    if (uBytes == 0) return;
    DWORD ulDone = 0;
    if (!WriteFile(m_hFile, pBuffer, uBytes, &ulDone, nullptr)) ThrowLastError();
    if (ulDone != uBytes) AfxThrowFileException(CFileException::diskFull, ERROR_DISK_FULL, m_strFileName);
}

ULONGLONG CFile::Seek(LONGLONG llOffset, UINT uFrom)
{
    LARGE_INTEGER distance{}, position{};
    distance.QuadPart = llOffset;
    if (!SetFilePointerEx(m_hFile, distance, &position, uFrom)) ThrowLastError();
    return static_cast<ULONGLONG>(position.QuadPart);
}

ULONGLONG CFile::GetPosition() const
{
    LARGE_INTEGER position{};
    if (!SetFilePointerEx(m_hFile, {}, &position, FILE_CURRENT)) ThrowLastError();
    return static_cast<ULONGLONG>(position.QuadPart);
}

ULONGLONG CFile::GetLength() const
{
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(m_hFile, &size)) ThrowLastError();
    return static_cast<ULONGLONG>(size.QuadPart);
}

void CFile::SetLength(ULONGLONG ullNewLength)
{
    Seek(static_cast<LONGLONG>(ullNewLength), begin);
    if (!SetEndOfFile(m_hFile)) ThrowLastError();
}

void CFile::LockRange(ULONGLONG ullPosition, ULONGLONG ullBytes)
{
    if (!LockFile(m_hFile, LowPart(ullPosition), HighPart(ullPosition), LowPart(ullBytes), HighPart(ullBytes))) ThrowLastError();
}

void CFile::UnlockRange(ULONGLONG ullPosition, ULONGLONG ullBytes)
{
    if (!UnlockFile(m_hFile, LowPart(ullPosition), HighPart(ullPosition), LowPart(ullBytes), HighPart(ullBytes))) ThrowLastError();
}

void CFile::Flush()
{
    if (m_hFile != hFileNull && !FlushFileBuffers(m_hFile)) ThrowLastError();
}

void CFile::Close()
{
    const HANDLE hFile = m_hFile;
    m_hFile = hFileNull;
    m_bCloseOnDelete = FALSE;
    if (hFile != hFileNull && !CloseHandle(hFile)) ThrowLastError();
    m_strFileName.Empty();
}

void CFile::Abort()
{
    if (m_hFile != hFileNull) CloseHandle(m_hFile);
    m_hFile = hFileNull;
    m_bCloseOnDelete = FALSE;
    m_strFileName.Empty();
}
