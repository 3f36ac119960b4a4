#include "OBuf.h"

#include "AfxMessage.h"
#include "OMemBuf.h"
#include "OSubBuf.h"

#include <algorithm>
#include <memory>

void OBuf::ShowReadError() { AfxMessageBox("OBuf::Read error", MB_OK, 0); }
void OBuf::ShowWriteError() { AfxMessageBox("OBuf::Write error", MB_OK, 0); }

ULONG OBuf::GetSize()
{
    if (const auto* pMemory = OMemBuf::Plain(*this)) return pMemory->mBlock.Size();
    const ULONG ulPosition = GetPosition();
    const ULONG ulSize = Seek(0, SeekFromEnd);
    SetPosition(ulPosition);
    return ulSize;
}

ULONG OBuf::CopyFrom(OBuf& Source, ULONG ulBytes)
{
    if (ulBytes == 0)
    {
        Source.SetPosition(0);
        ulBytes = Source.GetSize();
        if (ulBytes == 0) return 0;
    }
    auto* pMemory = OMemBuf::Plain(*this);
    if (!pMemory || !pMemory->CopyAtOnce(Source, ulBytes)) CopyInChunks(Source, ulBytes);
    return ulBytes;
}

// In a function of its own, for the room that it takes on the stack.
[[gnu::noinline]] void OBuf::CopyInChunks(OBuf& Source, ULONG ulBytes)
{
    constexpr ULONG kulChunk = OMemBuf::kulChunk;
    unsigned char aubChunk[kulChunk];
    ULONG ulSet = 0; // how much of the chunk came from the source: the rest is what lay on the stack before
    while (ulBytes > 0)
    {
        const ULONG ulNow = std::min(ulBytes, kulChunk);
        const ULONG ulRead = Source.Read(aubChunk, ulNow);
        if (ulRead != ulNow) ShowReadError();
        ulSet = std::max(ulSet, std::min(ulRead, ulNow));
        if (ulSet < ulNow) std::memset(aubChunk + ulSet, 0, ulNow - ulSet);
        WriteWhole(aubChunk, ulNow);
        ulBytes -= ulNow;
    }
}

void OBuf::SetSize(ULONG) {}

OBuf& OBuf::operator=(OBuf& Source)
{
    CopyFrom(Source, 0);
    return *this;
}

OBuf& OBuf::operator+=(OBuf& Source)
{
    const ULONG ulBytes = Source.GetSize();
    auto* pMemory = OMemBuf::Plain(*this);
    if (!pMemory || !pMemory->CopyAtOnce(Source, ulBytes)) CopyFrom(Source, ulBytes);
    return *this;
}

OBuf& OBuf::WriteText(const void* pText, std::size_t ulBytes)
{
    if (pText && ulBytes <= 0xFFFFFFFF) WriteWhole(pText, static_cast<ULONG>(ulBytes));
    else ShowWriteError();
    return *this;
}

// WriteBuffer for memory that ends where the bytes do: a window may read on behind them, and finds zeros.
void OBuf::WriteWhole(const void* pSource, ULONG ulBytes)
{
    if (OMemBuf::Plain(*this)) return WriteBuffer(pSource, ulBytes); // the usual case, answered at once
    const auto* pWindow = dynamic_cast<const OSubBuf*>(this);
    const ULONG ulRead = pWindow ? pWindow->BytesToRead(pWindow->mulPosition, ulBytes) : ulBytes;
    if (ulRead == ulBytes) return WriteBuffer(pSource, ulBytes);
    const std::unique_ptr<void, void (*)(void*)> pRoom(AfxAllocate(ulRead), &AfxFree);
    std::memset(pRoom.get(), 0, ulRead);
    std::memcpy(pRoom.get(), pSource, ulBytes);
    WriteBuffer(pRoom.get(), ulBytes);
}
