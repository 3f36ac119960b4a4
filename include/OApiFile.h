// An open file whose every failure raises.
//
//  * Codes of the base 9000: 0 no size, 1 not initialised, 2 initialised already, 3 no buffer, 5 open failed, 6 read failed,
//    7 write failed, 8 seek failed. Closing and flushing go through CApi and raise its codes.
//  * Opened under the configured user's identity.
//  * A copy has the same handle, and only one of the copies may be closed.
//  * One thread at a time.
#pragma once

#include "Platform.h"

#include "OBase.h"

#include <cstring>

class OApiFile : public OBase
{
public:
    OApiFile();
    OApiFile(const char* pName, ULONG ulCreation, ULONG ulAccess, ULONG ulShare, ULONG ulFlags, SECURITY_ATTRIBUTES* pSecurity,
             void* hTemplate);
    OApiFile(const OApiFile& source) = default;
    OApiFile& operator=(const OApiFile& source) = default;
    ~OApiFile() override;

    // ApiFileInit: back to no file, without closing one. Keeps the access of the last open.
    ULONG ApiFileInit();
    // Init: opens as CreateFileA does, whose arguments these are in an order of their own.
    ULONG Init(const char* pName, ULONG ulCreation, ULONG ulAccess, ULONG ulShare, ULONG ulFlags, SECURITY_ATTRIBUTES* pSecurity,
               void* hTemplate);
    // Done: closes the file; flushes it before when the access has bit 0 (FILE_READ_DATA). 1 when there is none to close.
    ULONG Done();

    // Read, Write: as ReadFile and WriteFile; the count may be left out.
    int Read(void* pBuffer, ULONG ulBytes, ULONG* pulRead, OVERLAPPED* pOverlapped);
    int Write(const void* pBuffer, ULONG ulBytes, ULONG* pulWritten, OVERLAPPED* pOverlapped);
    int Write(const void* pText) { return Write(pText, TextBytes(pText), nullptr, nullptr); }
    // Writeln: the text and CR LF, in one write at the position.
    int Writeln(const void* pText);

    // GetHandle: stores the handle, then raises: 3 when there is one, 1 without. Whoever wants the handle catches the 3.
    ULONG GetHandle(void** phFile);

    // The position afterwards. One of 0xFFFFFFFF or beyond raises 8.
    ULONG GoToEof();
    ULONG GoToStart();
    ULONG GoToPosition(LONG lPosition);
    ULONG MoveRelative(LONG lDistance);

    int Flush();
    unsigned int GetFileSize(); // its lower 32 bits

private:
    friend class OLogFile; // writes to the handle where nothing may be raised

    // A text that is not there is empty, and its null pointer is refused as every null buffer is.
    static ULONG TextBytes(const void* pText) { return pText ? static_cast<ULONG>(std::strlen(static_cast<const char*>(pText))) : 0; }

    void Open(const char* pName, ULONG ulCreation, ULONG ulAccess, ULONG ulShare, ULONG ulFlags, SECURITY_ATTRIBUTES* pSecurity,
              void* hTemplate);
    void DropFailedOpen();
    void CheckInitialised();
    ULONG MoveTo(LONG lDistance, ULONG ulMethod);

    ULONG mulInitialised = 0; // 1 from the first attempt to open on
    HANDLE mhFile = nullptr;  // INVALID_HANDLE_VALUE when that failed
    ULONG mulAccess = 0;
};
