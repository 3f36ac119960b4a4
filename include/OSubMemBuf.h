// A stretch of a memory stream, for reading only. It stands on a clone, so what is appended to the source later does not reach it.
//
//  * Writing and SetCapacity are refused with a message box ("OSubMemBuf::Write not allowed", "OSubMemBuf::SetCapacity not
//    allowed").
//  * Copies stand on the same clone, which ends with the last of them: one thread at a time for all of these. CreateClone gives one
//    for another thread.
//  * The end is counted backwards: Seek(5, SeekFromEnd) goes to five bytes before it.
//  * GetBuffer is where the position stands in the bytes, and GetCurrentBuffer once as far again.
#pragma once

#include "OCustomMemBuf.h"

#include <memory>

class OSubMemBuf : public OCustomMemBuf
{
public:
    // ulLength 0xFFFFFFFF: up to the end of the source; nothing, when that lies before ulOffset.
    OSubMemBuf(OCustomMemBuf& Source, ULONG ulOffset, ULONG ulLength);
    OSubMemBuf(OSubMemBuf& Source); // at the same position

    ULONG Read(void* pTo, ULONG ulBytes) override; // cut to what is left of the window
    ULONG Write(const void* pSource, ULONG ulBytes) override;
    ULONG Seek(int iOffset, SEEKOPT eFrom) override;
    using OCustomMemBuf::operator=;
    OSubMemBuf& operator=(OSubMemBuf& Source); // the other's window, at its position

    OCustomMemBuf* CreateClone() override; // the same window on a clone of the clone
    void MakeUnique() override;
    ULONG GetCapacity() override; // the window's length
    const unsigned char* GetBuffer() override;
    void SetCapacity(ULONG ulCapacity) override;

private:
    friend class OMemBuf;
    const unsigned char* BytesAhead(ULONG ulBytes) const;

    std::shared_ptr<OCustomMemBuf> mpClone;
    ULONG mulOffset;
    ULONG mulPosition = 0;
    ULONG mulLength;
};
