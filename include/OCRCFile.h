// Data files whose last two bytes are the CRC-16 of all bytes before them, low byte first (docs/format_crc.md).
//
//  * Files of every size, also beyond 4 GiB. Nobody else may have the file open meanwhile.
//  * Opened under the configured user's identity. A file that does not open is logged under "Error".
//  * After a 0 the last error says why. It is NO_ERROR when nothing failed and the trailer does not match, and
//    ERROR_FILE_INVALID when the file became longer or shorter while it was read.
//  * What fails leaves the file as it was.
#pragma once

#include "OCRC.h"

class OCRCFile : public OCRC
{
public:
    // AppendCRC: two bytes more, whatever the file ends with; 1, or 0.
    int AppendCRC(OString sPath);
    int AppendCRC(OString sPath, OCRCProgress pProgress, void* pContext);

    // UndoAppendCRC: cuts off the last two bytes, whatever they are; 1, or 0.
    int UndoAppendCRC(OString sPath);

    // UndoMatchingCRC: the same in one open with the check, for a trailer that matches; 1, or 0.
    int UndoMatchingCRC(OString sPath, OCRCProgress pProgress = nullptr, void* pContext = nullptr);

    // CheckCRC: 1 when the trailer matches, else 0. Of a shorter file the trailer is what there is of it, and zeros: an empty
    //   file matches, since the CRC of nothing is 0.
    int CheckCRC(OString sPath);
    int CheckCRC(OString sPath, OCRCProgress pProgress, void* pContext);
};
