// One block of bytes on the heap, and its length: the container in which binary registry values are handed out.
//
//  * Owns its block (malloc/free). Empty is a null block of length 0; any other mixture is invalid, and members refuse it.
//  * Set and Alloc drop the old contents first: when they fail, the buffer is empty.
//  * Failures raise codes of the base 10500: 1 out of memory, 2 invalid buffer or arguments, 3 null pointer.
//    Only an append that finds no memory is the framework's CMemoryException*; it leaves the buffer as it was.
//  * One thread at a time.
#pragma once

#include "OBase.h"

class OBuffer : public OBase
{
public:
    OBuffer();
    // A null pBuffer with a length: that many zero bytes. Otherwise a copy of what pBuffer points to.
    OBuffer(ULONG ulLength, const void* pBuffer);
    OBuffer(const OBuffer& BufferSrc);
    ~OBuffer() override;

    // AsPointer: the block; raises 3 when there is none.
    virtual void* AsPointer();
    virtual void Delete();
    // Set: a copy of ulSize bytes, which may lie in this very buffer.
    virtual void Set(ULONG ulSize, const void* pSource);
    virtual OBuffer& operator=(OBuffer& Source);

    // Alloc: ulLength zero bytes.
    void Alloc(ULONG ulLength);
    // Appends. A buffer that is appended to itself doubles its length, and its second half is not filled.
    OBuffer& operator+=(const OBuffer& BufferSrc);

    // EndOfBufferPointer: one past the last byte; raises 3 when there is no block.
    void* EndOfBufferPointer();
    ULONG Length() const { return mulLength; }
    // IsValid: whether pointer and length of the given buffer, not of this one, are both set or both empty.
    static int IsValid(const OBuffer& Buffer) { return (Buffer.mpBuffer == nullptr) == (Buffer.mulLength == 0); }

protected:
    void* mpBuffer = nullptr;
    ULONG mulLength = 0;

private:
    void BufferInit();
    void RaiseNoMemory(const char* pMethod);
};
