// A stretch of a stream with a position of its own: what its two kinds have in common.
#pragma once

#include "OBuf.h"

// How long a window is that goes on to the end.
inline ULONG LengthToEnd(OBuf& Source, ULONG ulOffset)
{
    const ULONG ulSize = Source.GetSize();
    return ulSize > ulOffset ? ulSize - ulOffset : 0;
}

// What transfer() answers at the window's position in the source; that is where it was again afterwards.
template <class Transfer>
ULONG TransferInWindow(OBuf& Source, ULONG ulOffset, ULONG& ulPosition, Transfer transfer)
{
    if (ulPosition > 0xFFFFFFFF - ulOffset) return 0; // no stream reaches that far
    const ULONG ulBefore = Source.GetPosition();
    try
    {
        Source.SetPosition(ulOffset + ulPosition);
        const ULONG ulDone = transfer();
        ulPosition += ulDone;
        Source.SetPosition(ulBefore);
        return ulDone;
    }
    catch (...)
    {
        Source.SetPosition(ulBefore);
        throw;
    }
}

inline ULONG ReadInWindow(OBuf& Source, ULONG ulOffset, ULONG ulLength, ULONG& ulPosition, void* pTo, ULONG ulBytes)
{
    const ULONG ulLeft = ulPosition < ulLength ? ulLength - ulPosition : 0;
    if (ulBytes > ulLeft) ulBytes = ulLeft;
    return TransferInWindow(Source, ulOffset, ulPosition, [&] { return Source.Read(pTo, ulBytes); });
}

inline ULONG SeekInWindow(ULONG ulLength, ULONG& ulPosition, int iOffset, OBuf::SEEKOPT eFrom)
{
    const ULONG ulOffset = static_cast<ULONG>(iOffset);
    if (eFrom == OBuf::SeekFromBegin) ulPosition = ulOffset;
    if (eFrom == OBuf::SeekFromCurrent) ulPosition += ulOffset;
    if (eFrom == OBuf::SeekFromEnd) ulPosition = ulLength - ulOffset; // backwards
    return ulPosition;
}
