// Handles for tests: closed in the end, and made with the arguments that a test is about.
#pragma once

#include "Platform.h"

#include <string>
#include <utility>

constexpr DWORD kulShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kulRead = GENERIC_READ;
constexpr DWORD kulWrite = GENERIC_WRITE;
constexpr DWORD kulReadWrite = GENERIC_READ | GENERIC_WRITE;

class FileHandle
{
public:
    explicit FileHandle(HANDLE hFile = INVALID_HANDLE_VALUE) : mhFile(hFile) {}
    FileHandle(const std::string& sName, DWORD ulAccess, DWORD ulShare = kulShareAll, DWORD ulDisposition = OPEN_EXISTING,
               DWORD ulFlags = FILE_ATTRIBUTE_NORMAL)
        : mhFile(CreateFileA(sName.c_str(), ulAccess, ulShare, nullptr, ulDisposition, ulFlags, nullptr))
    {
    }
    FileHandle(FileHandle&& other) noexcept : mhFile(std::exchange(other.mhFile, INVALID_HANDLE_VALUE)) {}
    ~FileHandle() { Close(); }

    void Close()
    {
        if (IsOpen()) CloseHandle(mhFile);
        mhFile = INVALID_HANDLE_VALUE;
    }
    bool IsOpen() const { return mhFile != INVALID_HANDLE_VALUE; }
    operator HANDLE() const { return mhFile; }

private:
    HANDLE mhFile;
};

// OpenError: what such an open answers: 0, or the error. The file is closed again.
inline DWORD OpenError(const std::string& sName, DWORD ulAccess, DWORD ulShare = kulShareAll, DWORD ulDisposition = OPEN_EXISTING,
                       DWORD ulFlags = FILE_ATTRIBUTE_NORMAL)
{
    return FileHandle(sName, ulAccess, ulShare, ulDisposition, ulFlags).IsOpen() ? NO_ERROR : GetLastError();
}

// ErrorOf: 0 for a call that gave TRUE, else the last error.
inline DWORD ErrorOf(BOOL bDone) { return bDone ? NO_ERROR : GetLastError(); }

// WriteText: makes or empties a file and fills it. ReadText: all that is in it; "(error N)" when it cannot be opened.
inline bool WriteText(const std::string& sName, const std::string& sText)
{
    const auto ulBytes = static_cast<DWORD>(sText.size());
    DWORD ulDone = 0;
    const FileHandle file(sName, kulWrite, kulShareAll, CREATE_ALWAYS);
    return file.IsOpen() && WriteFile(file, sText.data(), ulBytes, &ulDone, nullptr) && ulDone == ulBytes;
}

inline std::string ReadText(const std::string& sName)
{
    const FileHandle file(sName, kulRead);
    if (!file.IsOpen()) return "(error " + std::to_string(GetLastError()) + ")";
    std::string sText;
    char acPiece[4096];
    for (DWORD ulDone = 0; ReadFile(file, acPiece, sizeof acPiece, &ulDone, nullptr) && ulDone;) sText.append(acPiece, ulDone);
    return sText;
}
