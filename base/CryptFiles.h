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

// OpenCryptFile: a binary stream to read; null with the last error.
FILE* OpenCryptFile(const char* pName, OFileId& id);

// What one call of the provider is given, and what is read and written at once: whole blocks, whole pages.
constexpr DWORD kulCryptBlock = 1000, kulCryptRoom = 512'000;
static_assert(kulCryptRoom % kulCryptBlock == 0 && kulCryptRoom % 4096 == 0);

// ReadCryptBytes: the next kulCryptRoom bytes, fewer only at the end. False: the stream fails, or stops without a reason.
bool ReadCryptBytes(FILE* pFile, BYTE* pRoom, DWORD& ulBytes, bool& bLast);

// ForEachCryptBlock: work(block, bytes, whether it is the last) for what was read, until that gives false. The last is shorter,
//   and may be empty.
template <class Work>
bool ForEachCryptBlock(BYTE* pBytes, DWORD ulBytes, bool bLast, Work work)
{
    for (;;)
    {
        const DWORD ulBlock = ulBytes < kulCryptBlock ? ulBytes : kulCryptBlock;
        const bool bFinal = bLast && ulBlock < kulCryptBlock;
        if (ulBlock == 0 && !bFinal) return true;
        if (!work(pBytes, ulBlock, bFinal)) return false;
        if (bFinal) return true;
        pBytes += ulBlock;
        ulBytes -= ulBlock;
    }
}

// What is to be written. Unless told that it is whole, it goes in the end; but a file that was there before does so only once it
// has been emptied. Of a file with other names too, those stay, and it is empty.
class OOutputFile
{
public:
    OOutputFile() = default;
    ~OOutputFile();
    OOutputFile(const OOutputFile&) = delete;
    OOutputFile& operator=(const OOutputFile&) = delete;

    // Opens, once: what the file holds stays, and others may read it but not write. False with the last error.
    bool Open(const char* pName); // the name stays until the end
    bool Empty();                 // while nothing is written yet; false with the last error
    void IsWhole() { mbRemove = false; }

    const OFileId& Id() const { return mId; }
    FILE* Stream() const { return mpStream; }
    FILE* Drop(); // the stream, for the caller to close; what becomes of the file is for the caller to say

private:
    bool OpenStream();
    bool Cut();
    void Remove();

    const char* mpName = nullptr;
    HANDLE mhFile = INVALID_HANDLE_VALUE; // the same open as the stream's, which does not give its own away
    FILE* mpStream = nullptr;
    OFileId mId;
    bool mbFile = false; // a device can neither be emptied nor removed
    bool mbRemove = false;
};
