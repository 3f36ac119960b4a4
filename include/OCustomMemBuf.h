// A stream whose bytes lie in memory, one behind the other.
#pragma once

#include "OBuf.h"

class OCustomMemBuf : public OBuf
{
public:
    // Read: all or nothing. 0, and the position stays, when fewer bytes are left.
    ULONG Read(void* pTo, ULONG ulBytes) override;

    // CreateClone: a stream with the same bytes, at position 0; the caller deletes it.
    virtual OCustomMemBuf* CreateClone() = 0;
    // MakeUnique: the bytes are this stream's own from now on.
    virtual void MakeUnique() = 0;
    virtual ULONG GetCapacity() = 0;
    // GetBuffer: valid until the stream grows, shrinks, is assigned to or ends; never null.
    virtual const unsigned char* GetBuffer() = 0;
    virtual void SetCapacity(ULONG ulCapacity) = 0;

    operator const unsigned char*() { return GetBuffer(); }
    const unsigned char* GetCurrentBuffer() { return GetBuffer() + GetPosition(); }
    ULONG CopyFromMem(OCustomMemBuf& Source, ULONG ulBytes) { return CopyFrom(Source, ulBytes); }

    using OBuf::operator=;
    OCustomMemBuf& operator=(OCustomMemBuf& Source);

protected:
    OCustomMemBuf() = default;
    OCustomMemBuf(OCustomMemBuf&) = default;
};
