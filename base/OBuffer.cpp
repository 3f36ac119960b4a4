#include "OBuffer.h"

#include "AfxMemory.h"
#include "CaughtException.h"

#include <cstdlib>
#include <memory>

namespace
{
enum OBufferCode : ULONG { kulNoMemory = 1, kulInvalid = 2, kulNull = 3 };

struct OFree
{
    void operator()(void* pBlock) const { std::free(pBlock); }
};
using OHeapBlock = std::unique_ptr<void, OFree>;
} // namespace

// An address as the log's "%x" shows it.
static unsigned int Low32(const void* pAddress) { return static_cast<unsigned int>(reinterpret_cast<ULONG_PTR>(pAddress)); }

static OHeapBlock CopyOf(ULONG ulSize, const void* pSource)
{
    OHeapBlock pBlock(ulSize && pSource ? std::malloc(ulSize) : nullptr);
    if (pBlock) std::memcpy(pBlock.get(), pSource, ulSize);
    return pBlock;
}

void OBuffer::BufferInit()
{
    SetGroup("Utilities");
    SetErrorBase(10500);
}

void OBuffer::RaiseNoMemory(const char* pMethod)
{
    LogGroup("Error", nullptr, pMethod, "Insufficient memory available");
    Raise(kulNoMemory);
}

OBuffer::OBuffer() { BufferInit(); }

OBuffer::OBuffer(ULONG ulLength, const void* pBuffer)
{
    BufferInit();
    if (ulLength == 0 || pBuffer)
    {
        Set(ulLength, pBuffer);
        return;
    }
    mulLength = ulLength;
    mpBuffer = std::calloc(ulLength, 1);
    if (!mpBuffer) RaiseNoMemory("OBuffer(ULONG ulLength, void* pBuffer)");
}

OBuffer::OBuffer(const OBuffer& BufferSrc) : OBase()
{
    try
    {
        BufferInit();
        if (!IsValid(BufferSrc))
        {
            LogGroup("Error", nullptr, "OBuffer(const OBuffer& BufferSrc)", "Invalid OBuffer given: BufferSrc.mulLength==%u",
                     BufferSrc.mulLength);
            Raise(kulInvalid);
        }
        Set(BufferSrc.mulLength, BufferSrc.mpBuffer);
    }
    catch (...) { LogCaught("OBuffer::OBuffer - Copy"); throw; }
}

OBuffer::~OBuffer()
{
    try
    {
        Delete();
    }
    catch (...) { LogCaught("OBuffer::~OBuffer"); DropCaught(); }
}

void* OBuffer::AsPointer()
try
{
    if (!IsValid(*this)) Raise(kulInvalid);
    if (!mpBuffer) Raise(kulNull);
    return mpBuffer;
}
catch (...) { LogCaught("OBuffer::AsPointer"); throw; }

void OBuffer::Delete()
try
{
    if (!IsValid(*this))
    {
        // The name of another method, and known by it in logs.
        LogGroup("Error", nullptr, "AsPointer", "Invalid OBuffer:  mpBuffer=%x ; mulLength=%u ; this=%x", Low32(mpBuffer),
                 mulLength, Low32(this));
        Raise(kulInvalid);
    }
    std::free(mpBuffer);
    mpBuffer = nullptr;
    mulLength = 0;
}
catch (...) { LogCaught("OBuffer::Delete"); throw; }

void OBuffer::Set(ULONG ulSize, const void* pSource)
try
{
    OHeapBlock pCopy = CopyOf(ulSize, pSource); // before the old block goes: the source may lie in it
    Delete();
    if (ulSize == 0)
    {
        if (pSource) Raise(kulInvalid);
        return;
    }
    if (!pSource) Raise(kulNull);
    if (!pCopy) RaiseNoMemory("Set");
    mpBuffer = pCopy.release();
    mulLength = ulSize;
}
catch (...) { LogCaught("OBuffer::Set"); throw; }

OBuffer& OBuffer::operator=(OBuffer& Source)
try
{
    if (!IsValid(Source))
    {
        LogGroup("Error", nullptr, "operator =", "Invalid sourve OBuffer:   Source=%x : Source.ulLength=%u", Low32(&Source),
                 Source.mulLength);
        Raise(kulInvalid);
    }
    Set(Source.mulLength, Source.mpBuffer);
    return *this;
}
catch (...) { LogCaught("OBuffer::operator="); throw; }

void OBuffer::Alloc(ULONG ulLength)
try
{
    Delete();
    if (ulLength == 0) return;
    mpBuffer = std::calloc(ulLength, 1);
    if (!mpBuffer) RaiseNoMemory("Alloc");
    mulLength = ulLength;
}
catch (...) { LogCaught("OBuffer::Alloc"); throw; }

OBuffer& OBuffer::operator+=(const OBuffer& BufferSrc)
try
{
    if (!IsValid(BufferSrc))
    {
        LogGroup("Error", nullptr, "operator +=", "Invalid OBuffer :  BufferSrc=%x : BufferSrc.ulLength=%u", Low32(&BufferSrc),
                 BufferSrc.mulLength);
        Raise(kulInvalid);
    }
    const ULONG ulOwn = mulLength;
    const ULONG ulTotal = ulOwn + BufferSrc.mulLength;
    if (ulTotal < ulOwn) AfxThrowMemoryException(); // longer than a length can say
    if (ulTotal == 0)
    {
        Delete();
        return *this;
    }
    OHeapBlock pBlock(AfxAllocate(ulTotal)); // no code of ours when that fails
    BYTE* pByte = static_cast<BYTE*>(pBlock.get());
    if (mpBuffer) std::memcpy(pByte, mpBuffer, ulOwn);
    Delete();
    // From here on BufferSrc is empty if it is this buffer: what is then left unfilled shows nothing of the heap's past.
    const ULONG ulAppended = BufferSrc.mulLength;
    if (ulAppended) std::memcpy(pByte + ulOwn, BufferSrc.mpBuffer, ulAppended);
    std::memset(pByte + ulOwn + ulAppended, 0, ulTotal - ulOwn - ulAppended);
    mpBuffer = pBlock.release();
    mulLength = ulTotal;
    return *this;
}
catch (...) { LogCaught("OBuffer::operator=+"); throw; }

void* OBuffer::EndOfBufferPointer()
try
{
    if (!IsValid(*this))
    {
        LogGroup("Error", nullptr, "EndOfBufferPointer", "Invalid OBuffer :  this=%x : ulLength=%u", Low32(this), mulLength);
        Raise(kulInvalid);
    }
    if (!mpBuffer)
    {
        LogGroup("Error", nullptr, "EndOfBufferPointer", "mpBuffer==NULL");
        Raise(kulNull);
    }
    return static_cast<BYTE*>(mpBuffer) + mulLength;
}
catch (...) { LogCaught("OBuffer::EndOfBufferPointer"); throw; }
