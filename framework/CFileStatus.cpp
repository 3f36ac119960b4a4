// Files by their names: renaming, removing, and what is known of them.
#include "CFile.h"

#include <cstring>

namespace
{
[[noreturn]] void ThrowLastErrorOf(const char* pFileName)
{
    const auto lError = static_cast<LONG>(GetLastError());
    AfxThrowFileException(CFileException::OsErrorToException(lError), lError, pFileName);
}

// A handle that is closed in the end.
struct OpenHandle
{
    HANDLE hFile;
    ~OpenHandle() { if (hFile != INVALID_HANDLE_VALUE) CloseHandle(hFile); }
};

void WriteTimes(const char* pFileName, const CFileStatus& status)
{
    const FILETIME made = status.m_ctime.GetFileTime(), read = status.m_atime.GetFileTime(), written = status.m_mtime.GetFileTime();
    const OpenHandle file{CreateFileA(pFileName, FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)};
    if (file.hFile == INVALID_HANDLE_VALUE) ThrowLastErrorOf(pFileName);
    const FILETIME* pMade = status.m_ctime.GetTime() ? &made : nullptr;
    const FILETIME* pRead = status.m_atime.GetTime() ? &read : nullptr;
    if (!SetFileTime(file.hFile, pMade, pRead, &written)) ThrowLastErrorOf(pFileName);
}
} // namespace

void CFile::Rename(const char* pOldName, const char* pNewName)
{
    if (!MoveFileA(pOldName, pNewName)) ThrowLastErrorOf(pOldName);
}

void CFile::Remove(const char* pFileName)
{
    if (!DeleteFileA(pFileName)) ThrowLastErrorOf(pFileName);
}

BOOL CFile::GetStatus(const char* pFileName, CFileStatus& status)
{
    WIN32_FILE_ATTRIBUTE_DATA data{};
    const DWORD ulLength = GetFullPathNameA(pFileName, sizeof status.m_szFullName, status.m_szFullName, nullptr);
    if (ulLength == 0 || ulLength >= sizeof status.m_szFullName || !GetFileAttributesExA(pFileName, GetFileExInfoStandard, &data))
    {
        status.m_szFullName[0] = 0;
        return FALSE;
    }
    status.m_attribute = static_cast<BYTE>(data.dwFileAttributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL));
    status.m_size = static_cast<ULONGLONG>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
    status.m_ctime = data.ftCreationTime;
    status.m_mtime = data.ftLastWriteTime;
    status.m_atime = data.ftLastAccessTime;
    return TRUE;
}

BOOL CFile::GetStatus(CFileStatus& status) const
{
    status = {};
    if (m_strFileName.GetLength() >= static_cast<int>(sizeof status.m_szFullName)) return FALSE;
    std::memcpy(status.m_szFullName, m_strFileName, static_cast<std::size_t>(m_strFileName.GetLength()) + 1);
    if (m_hFile == hFileNull) return TRUE;

    FILETIME made{}, read{}, written{};
    if (!GetFileTime(m_hFile, &made, &read, &written)) return FALSE;
    status.m_ctime = made;
    status.m_atime = read;
    status.m_mtime = written;
    status.m_size = GetLength();
    const DWORD ulAttributes = m_strFileName.IsEmpty() ? INVALID_FILE_ATTRIBUTES : GetFileAttributesA(m_strFileName);
    if (ulAttributes != INVALID_FILE_ATTRIBUTES)
        status.m_attribute = static_cast<BYTE>(ulAttributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL));
    return TRUE;
}

void CFile::SetStatus(const char* pFileName, const CFileStatus& status)
{
    const DWORD ulNow = GetFileAttributesA(pFileName);
    if (ulNow == INVALID_FILE_ATTRIBUTES) ThrowLastErrorOf(pFileName);

    if (status.m_mtime.GetTime() != 0) WriteTimes(pFileName, status);
    if (status.m_attribute != ulNow && !SetFileAttributesA(pFileName, status.m_attribute)) ThrowLastErrorOf(pFileName);
}
