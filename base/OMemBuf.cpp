#include "OMemBuf.h"

#include "OSubMemBuf.h"

OMemBuf::OMemBuf(OBuf& Source) { OMemBuf::operator=(Source); }

OMemBuf::OMemBuf(const void* pSource, int iBytes) { ConstructFromPVoid(pSource, iBytes); }

OMemBuf::OMemBuf(const unsigned char* pSource, int iBytes) { ConstructFromPVoid(pSource, iBytes); }

void OMemBuf::ConstructFromPVoid(const void* pSource, int iBytes)
{
    if (iBytes == 0) return;
    const ULONG ulBytes = static_cast<ULONG>(iBytes);
    const bool bAppended = pSource && iBytes > 0 && mBlock.Write(mBlock.Size(), pSource, ulBytes, ulBytes);
    if (!bAppended) ShowWriteError();
}

void OMemBuf::SetSize(ULONG ulSize)
{
    if (ulSize > mBlock.Capacity()) SetCapacity(ulSize);
    if (ulSize > mBlock.Capacity()) return; // a derived class did not make the room
    mBlock.SetSize(ulSize);
    if (mulPosition > ulSize) mulPosition = ulSize;
}

OBuf& OMemBuf::operator=(OBuf& Source)
{
    mulPosition = 0;
    const auto* pMemory = dynamic_cast<OMemBuf*>(&Source);
    if (pMemory) mBlock = pMemory->mBlock;
    else CopyFrom(Source, 0);
    return *this;
}

OMemBuf& OMemBuf::operator=(OMemBuf& Source)
{
    mBlock = Source.mBlock;
    mulPosition = Source.mulPosition;
    return *this;
}

OCustomMemBuf* OMemBuf::CreateClone() { return new OMemBuf(*this); }

void OMemBuf::MakeUnique() { mBlock.MakeUnique(); }

ULONG OMemBuf::GetCapacity() { return mBlock.Capacity(); }

const unsigned char* OMemBuf::GetBuffer() { return mBlock.Data(); }

void OMemBuf::SetCapacity(ULONG ulCapacity) { mBlock.SetCapacity(ulCapacity); }

void OMemBuf::Clear()
{
    mBlock.MakeUnique();
    mBlock.SetSize(0);
    mulPosition = 0;
}

bool OMemBuf::CopyAtOnce(OBuf& Source, ULONG ulBytes)
{
    const unsigned char* pBytes = nullptr;
    OMemBuf* const pMemory = Plain(Source);
    if (pMemory) pBytes = pMemory->BytesAt(pMemory->mulPosition, ulBytes);
    else if (typeid(Source) == typeid(OSubMemBuf)) pBytes = static_cast<OSubMemBuf&>(Source).BytesAhead(ulBytes);
    if (!pBytes) return false;
    // Within one block each step may read what the one before wrote. (A copy from this very stream always overlaps.)
    const unsigned char* const pEnd = mBlock.Data() + mBlock.Size();
    const bool bOverlap = pBytes < pEnd && pBytes + ulBytes > mBlock.Data() + mulPosition;
    if (bOverlap || !mBlock.Write(mulPosition, pBytes, ulBytes, kulChunk)) return false;
    mulPosition += ulBytes;
    if (pMemory) pMemory->mulPosition += ulBytes;
    else Source.Seek(static_cast<int>(ulBytes), SeekFromCurrent);
    return true;
}
