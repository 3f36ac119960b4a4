// A stretch of another stream, as a stream of its own. Transfers move the source's position and put it back.
//
//  * Does not own the source, which must outlive it.
//  * A read is cut to what is left of the window. A write is not: when it would pass the window's end, the source gets as many
//    bytes as position and length together. That may be more than was asked for, and the memory given to Write and WriteBuffer must
//    reach that far. (CopyFrom and += give zeros then.)
//  * The end is counted backwards: Seek(5, SeekFromEnd) goes to five bytes before it.
#pragma once

#include "OBuf.h"

#include <cstdint>

class OSubBuf : public OBuf
{
public:
    // ulLength 0: up to the end of the source; nothing, when that lies before ulOffset.
    OSubBuf(OBuf& Source, ULONG ulOffset, ULONG ulLength);
    // Another window on the same source, at the same position.
    OSubBuf(OSubBuf& Source);

    ULONG Read(void* pTo, ULONG ulBytes) override;
    ULONG Write(const void* pSource, ULONG ulBytes) override; // a null source: 0
    ULONG Seek(int iOffset, SEEKOPT eFrom) override;

    using OBuf::operator=;
    // Writes the other window's bytes into this one, as for any stream; the window stays where it is.
    OSubBuf& operator=(OSubBuf& Source);

private:
    friend class OBuf;
    std::uint64_t BytesToWrite(ULONG ulPosition, ULONG ulBytes) const;
    ULONG BytesToRead(ULONG ulPosition, ULONG ulBytes) const;

    OBuf* mpSource;
    ULONG mulOffset;
    ULONG mulLength;
    ULONG mulPosition = 0;
};
