#include "OCustomMemBuf.h"

#include "OMemBuf.h"

#include <cstdint>
#include <cstring>

ULONG OCustomMemBuf::Read(void* pTo, ULONG ulBytes)
{
    if (auto* pMemory = OMemBuf::Plain(*this)) // the same without virtual calls
    {
        const unsigned char* pBytes = pMemory->BytesAt(pMemory->mulPosition, ulBytes);
        if (!pTo || !pBytes) return 0;
        std::memcpy(pTo, pBytes, ulBytes);
        pMemory->mulPosition += ulBytes;
        return ulBytes;
    }
    const ULONG ulPosition = GetPosition();
    if (!pTo || std::uint64_t{ulPosition} + ulBytes > GetSize()) return 0;
    std::memcpy(pTo, GetBuffer() + ulPosition, ulBytes);
    Seek(static_cast<int>(ulBytes), SeekFromCurrent);
    return ulBytes;
}

OCustomMemBuf& OCustomMemBuf::operator=(OCustomMemBuf& Source)
{
    static_cast<OBuf&>(*this) = Source; // whatever this stream really is
    return *this;
}
