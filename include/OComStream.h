// One stream of a compound file, with exceptions in the place of result codes. OComStorage creates and opens it.
//
//  * Error base 12000, log group "FileStorage". Without a stream every call but SetSize and Commit raises 1.
//  * A result other than plain success, and so "success, but" as well, is logged under "Error" and raises its own code, or 11.
//  * Positions and sizes that come out as a ULONG are the low 32 bits.
//  * Copies have the same stream, with one position; it is closed when the last of them goes. One thread at a time.
#pragma once

#include "Platform.h"

#include "OBase.h"

class OComStream : public OBase
{
public:
    OComStream();
    OComStream(const OComStream& source);
    OComStream& operator=(const OComStream& source);
    ~OComStream() override;

    // Write: all of them. 12 when fewer were written.
    void Write(const void* pFrom, ULONG ulBytes);

    // Read: with pulRead, as many bytes as there are up to the end. Without it, all of them: 13 when there are fewer.
    void Read(void* pTo, ULONG ulBytes, ULONG* pulRead = nullptr);

    // Seek: from the start (0), the position (1) or the end (2), beyond it too; pNewPosition may be null.
    void Seek(LARGE_INTEGER move, ULONG ulOrigin, ULARGE_INTEGER* pNewPosition = nullptr);
    void SeekToStart();
    void SeekToEnd(ULONG* pulPosition); // null: nobody wants to know

    ULONG Size();

    // SetSize, Commit: what they answer is not looked at. Without a stream they do nothing.
    void SetSize(ULARGE_INTEGER size);
    void Commit();

private:
    friend class OComStorage;

    void CloseStream();
    void CheckAttached();

    IStream* mpStream = nullptr; // this object's own reference
};
