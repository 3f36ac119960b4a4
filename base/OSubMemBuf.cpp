#include "OSubMemBuf.h"

#include "AfxMessage.h"
#include "OMemBuf.h"
#include "StreamWindow.h"

OSubMemBuf::OSubMemBuf(OCustomMemBuf& Source, ULONG ulOffset, ULONG ulLength)
    : mpClone(Source.CreateClone()),
      mulOffset(ulOffset),
      mulLength(ulLength != 0xFFFFFFFF ? ulLength : LengthToEnd(Source, ulOffset))
{
}

OSubMemBuf::OSubMemBuf(OSubMemBuf& Source)
    : OCustomMemBuf(Source),
      mpClone(Source.mpClone),
      mulOffset(Source.mulOffset),
      mulPosition(Source.mulPosition),
      mulLength(Source.mulLength)
{
}

ULONG OSubMemBuf::Read(void* pTo, ULONG ulBytes) { return ReadInWindow(*mpClone, mulOffset, mulLength, mulPosition, pTo, ulBytes); }

ULONG OSubMemBuf::Write(const void*, ULONG)
{
    AfxMessageBox("OSubMemBuf::Write not allowed", MB_OK, 0);
    return 0;
}

ULONG OSubMemBuf::Seek(int iOffset, SEEKOPT eFrom) { return SeekInWindow(mulLength, mulPosition, iOffset, eFrom); }

OSubMemBuf& OSubMemBuf::operator=(OSubMemBuf& Source)
{
    mpClone = Source.mpClone;
    mulOffset = Source.mulOffset;
    mulPosition = Source.mulPosition;
    mulLength = Source.mulLength;
    return *this;
}

OCustomMemBuf* OSubMemBuf::CreateClone() { return new OSubMemBuf(*mpClone, mulOffset, mulLength); }

void OSubMemBuf::MakeUnique() { mpClone->MakeUnique(); }

ULONG OSubMemBuf::GetCapacity() { return mulLength; }

const unsigned char* OSubMemBuf::GetBuffer() { return mpClone->GetBuffer() + mulOffset + mulPosition; }

void OSubMemBuf::SetCapacity(ULONG) { AfxMessageBox("OSubMemBuf::SetCapacity not allowed", MB_OK, 0); }

// Where so many bytes stand from the position on; null when there are not as many, or when reading them might be watched.
const unsigned char* OSubMemBuf::BytesAhead(ULONG ulBytes) const
{
    const auto* pMemory = OMemBuf::Plain(*mpClone);
    const bool bInWindow = mulPosition <= mulLength && ulBytes <= mulLength - mulPosition && mulPosition <= 0xFFFFFFFF - mulOffset;
    return pMemory && bInWindow ? pMemory->BytesAt(mulOffset + mulPosition, ulBytes) : nullptr;
}
