// The CRC-16 of an open file: polynomial 0x1021, register from 0 on, highest bit first, nothing inverted (CRC-16/XMODEM).
//
//  * Error base 9000, log group "CRC". Raises no code of its own; without memory it throws CMemoryException*.
//  * One thread at a time.
#pragma once

#include "Platform.h"

#include "OBase.h"

#include <cstddef>

// Told, chunk by chunk, how many of the bytes have been read. What it throws ends the work and comes out of it.
using OCRCProgress = void (*)(void* pContext, ULONGLONG ullDone, ULONGLONG ullBytes);

class OCRC : public OBase
{
public:
    using OCRCTable = unsigned short[256];

    OCRC();

    // GetCRC: of the file from its beginning to its end, or to two bytes before it. Leaves the position behind what it read.
    //   The end is where it is when the call begins. A file that becomes shorter, or cannot be read any further, gives the CRC
    //   of what there was; one of no size, or with too few bytes, gives 0.
    unsigned short GetCRC(void* hFile, int bExcludeTrailer);
    unsigned short GetCRC(void* hFile, int bExcludeTrailer, OCRCProgress pProgress, void* pContext);

    // Entry i is the register after byte i went through it.
    static const OCRCTable& ausCRC_CCITT_Table;

protected:
    // DetermineCRC: the register after one more byte.
    static unsigned short DetermineCRC(unsigned char ubByte, unsigned short usCRC)
    {
        return static_cast<unsigned short>(ausCRC_CCITT_Table[(usCRC >> 8) ^ ubByte] ^ (usCRC << 8));
    }

private:
    static unsigned short ShiftBytes(const unsigned char* pBytes, std::size_t ulBytes, unsigned short usCRC);
};
