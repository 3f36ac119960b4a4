// What the calls on compound files answer: its name for the log, and the code that is raised for it above 12000.
#pragma once

#include "OBase.h"

enum OStorageCode : ULONG
{
    kulNotAttached = 1,
    kulOccupied = 2,
    kulMediumFull = 3,
    kulOtherResult = 11, // success that is not plain success, too
    kulShortWrite = 12,
    kulShortRead = 13,
    kulLockViolation = 14,
    kulReadFault = 15,
    kulWriteFault = 16,
    kulInsufficientMemory = 17,
    kulInvalidPointer = 18,
    kulInvalidHandle = 19,
    kulAccessDenied = 20,
    kulFileNotFound = 21,
    kulPathNotFound = 22,
};

struct OStorageResult
{
    HRESULT hResult;
    const char* pName; // filled with blanks to 28 characters, so that the lines of a log stand in columns
    ULONG ulRaiseCode;
};

// StorageResult: the row of a result; of one that has none, the name "UKNOWN" and kulOtherResult.
OStorageResult StorageResult(HRESULT hResult);

// RaiseStorageResult: logs it under "Error" with that object's method, and raises its code.
void RaiseStorageResult(OBase& object, const char* pMethod, HRESULT hResult);
