// A stream of bytes with a current position: what every stream of the library can do.
//
//  * Sizes, positions and counts are bytes. A size is at most 0xFFFFFFFF: what would go beyond is not transferred.
//  * Read and Write answer how much they transferred. Whoever wants all or a notice calls ReadBuffer and WriteBuffer: these show a
//    message box ("OBuf::Read error", "OBuf::Write error") for a short transfer, throw nothing and go on.
//  * Throws CMemoryException* when memory is exhausted.
//  * One thread at a time for an object.
#pragma once

#include "Platform.h"

#include <cstring>

class OBuf
{
public:
    enum SEEKOPT : int
    {
        SeekFromBegin = 0,
        SeekFromCurrent = 1,
        SeekFromEnd = 2, // how the end is counted, each class says
    };

    OBuf() = default;
    // Copies nothing: a stream that is only an OBuf yet has nowhere to put it. What a copy holds, the derived class says.
    OBuf(OBuf&) {}
    virtual ~OBuf() = default;

    virtual ULONG Read(void* pTo, ULONG ulBytes) = 0;
    virtual ULONG Write(const void* pSource, ULONG ulBytes) = 0;
    // Seek: returns the new position. Positions are not checked here; reading and writing check them.
    virtual ULONG Seek(int iOffset, SEEKOPT eFrom) = 0;
    // CopyFrom: writes what it reads from the source, at most 61440 bytes at a time, both from their positions on; 0 bytes: the
    //   whole source from its start. Returns the number asked for. Goes on after a short transfer, with its message box; bytes that
    //   the source did not deliver are those of 61440 bytes before, or zero.
    virtual ULONG CopyFrom(OBuf& Source, ULONG ulBytes);
    virtual void SetSize(ULONG ulSize);
    // The whole source, written over what stands at the position. The size does not shrink.
    virtual OBuf& operator=(OBuf& Source);

    ULONG SetPosition(ULONG ulPosition) { return Seek(static_cast<int>(ulPosition), SeekFromBegin); }
    ULONG GetPosition() { return Seek(0, SeekFromCurrent); }
    ULONG GetSize();
    void ReadBuffer(void* pTo, ULONG ulBytes)
    {
        if (Read(pTo, ulBytes) != ulBytes) ShowReadError();
    }
    void WriteBuffer(const void* pSource, ULONG ulBytes)
    {
        if (Write(pSource, ulBytes) != ulBytes) ShowWriteError();
    }

    // Each writes at the position. A stream: as many bytes as it has, but from its position on. A text: with its closing zero.
    OBuf& operator+=(OBuf& Source);
    OBuf& operator+=(const char* pText) { return WriteText(pText, pText ? std::strlen(pText) + 1 : 0); }
    OBuf& operator+=(const unsigned short* pText) { return WriteText(pText, pText ? 2 * wcslen(AsWide(pText)) + 2 : 0); }
    template <OWideChar T> OBuf& operator+=(const T* pText) { return *this += AsUnits(pText); }
    OBuf& operator+=(unsigned char ubByte) { return WriteText(&ubByte, 1); }

protected:
    static void ShowReadError();
    static void ShowWriteError();

private:
    void CopyInChunks(OBuf& Source, ULONG ulBytes);
    OBuf& WriteText(const void* pText, std::size_t ulBytes);
    void WriteWhole(const void* pSource, ULONG ulBytes);
};
