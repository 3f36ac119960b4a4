#include "OSubBuf.h"

#include "StreamWindow.h"

#include <algorithm>

OSubBuf::OSubBuf(OBuf& Source, ULONG ulOffset, ULONG ulLength)
    : mpSource(&Source), mulOffset(ulOffset), mulLength(ulLength ? ulLength : LengthToEnd(Source, ulOffset))
{
}

OSubBuf::OSubBuf(OSubBuf& Source)
    : OBuf(Source),
      mpSource(Source.mpSource),
      mulOffset(Source.mulOffset),
      mulLength(Source.mulLength),
      mulPosition(Source.mulPosition)
{
}

ULONG OSubBuf::Read(void* pTo, ULONG ulBytes) { return ReadInWindow(*mpSource, mulOffset, mulLength, mulPosition, pTo, ulBytes); }

ULONG OSubBuf::Write(const void* pSource, ULONG ulBytes)
{
    const std::uint64_t ullNow = BytesToWrite(mulPosition, ulBytes);
    if (!pSource || ullNow > 0xFFFFFFFF) return 0; // more than a count can say
    return TransferInWindow(*mpSource, mulOffset, mulPosition,
                            [&] { return mpSource->Write(pSource, static_cast<ULONG>(ullNow)); });
}

// What the source gets when ulBytes are written at ulPosition.
std::uint64_t OSubBuf::BytesToWrite(ULONG ulPosition, ULONG ulBytes) const
{
    const bool bPassesTheEnd = std::uint64_t{ulPosition} + ulBytes > mulLength;
    return bPassesTheEnd ? std::uint64_t{ulPosition} + mulLength : ulBytes; // the sum, which clients count on
}

// How far the memory is read that such a write is given. The source may be a window, too.
ULONG OSubBuf::BytesToRead(ULONG ulPosition, ULONG ulBytes) const
{
    const ULONG ulNow = static_cast<ULONG>(BytesToWrite(ulPosition, ulBytes)); // a larger number is refused, and nothing is read
    const auto* pWindow = dynamic_cast<const OSubBuf*>(mpSource);
    return std::max(ulBytes, pWindow ? pWindow->BytesToRead(mulOffset + ulPosition, ulNow) : ulNow);
}

ULONG OSubBuf::Seek(int iOffset, SEEKOPT eFrom) { return SeekInWindow(mulLength, mulPosition, iOffset, eFrom); }

OSubBuf& OSubBuf::operator=(OSubBuf& Source)
{
    OBuf::operator=(Source);
    return *this;
}
