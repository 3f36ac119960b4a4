// The files of cryptography, and what becomes of those that were not finished.
#pragma once

#include "Platform.h"

#include <cstdio>
#include <memory>

// Which file a name led to, whichever way it was spelled; unknown of what is no file.
struct OFileId
{
    bool bKnown = false;
    DWORD ulVolume = 0;
    ULONGLONG ullIndex = 0;

    bool IsSame(const OFileId& other) const
    {
        return bKnown && other.bKnown && ulVolume == other.ulVolume && ullIndex == other.ullIndex;
    }
};

struct OStreamCloser
{
    void operator()(FILE* pFile) const { std::fclose(pFile); }
};
using OStreamHolder = std::unique_ptr<FILE, OStreamCloser>;

// OpenCryptFile: a binary stream with a large buffer, since it is read and written in small pieces; null with the last error.
//   To write: makes the file if need be. What it holds stays, to be written over from the start.
FILE* OpenCryptFile(const char* pName, bool bWrite, OFileId& id);

// ReadCryptBlock: the next bytes, fewer than ulBytes says only at the end. False: the stream fails, or stops without a reason.
bool ReadCryptBlock(FILE* pFile, BYTE* pRoom, DWORD& ulBytes, bool& bLast);

// What is to be written, from before its file is opened until after it is closed. Unless told that it is whole, it goes in the end;
// but a file that was there before does so only once it has been emptied.
class OOutputFile
{
public:
    explicit OOutputFile(const char* pName)
        : mpName(pName), mbRemove(GetFileAttributesA(pName) == INVALID_FILE_ATTRIBUTES)
    {
    }
    ~OOutputFile();
    OOutputFile(const OOutputFile&) = delete;
    OOutputFile& operator=(const OOutputFile&) = delete;

    bool Empty(); // while nothing is written yet; false with the last error
    void IsWhole() { mbRemove = false; }

private:
    const char* const mpName;
    bool mbRemove;
};
