// What runs on the way out of a failure leaves the thread's last error alone: the caller still wants to ask why.
#pragma once

#include "Platform.h"

class OKeepLastError
{
public:
    OKeepLastError() : mulError(GetLastError()) {}
    ~OKeepLastError() { SetLastError(mulError); }
    OKeepLastError(const OKeepLastError&) = delete;
    OKeepLastError& operator=(const OKeepLastError&) = delete;

private:
    const DWORD mulError;
};
