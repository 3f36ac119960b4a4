// The protected form of the login record, in which an account's data lies on disk.
//
//  * The record's characters are scattered over a larger buffer of random letters, by positions that never change. This keeps a
//    password from a passing glance, not from whoever has the library: there is no key.
#pragma once

#include "Platform.h"

// An account, and whether the library is to work as it.
struct LOGINDATA
{
    unsigned short awcText1[256]; // zero-terminated
    unsigned short awcText2[256];
    unsigned short awcText3[256];
    ULONG ulFlag; // nonzero: login security is configured
};
static_assert(sizeof(LOGINDATA) == 1540 && offsetof(LOGINDATA, ulFlag) == 1536);

class OEncrypt
{
public:
    // EncryptLoginData: fills ulCount units, 10000 on disk, and scatters the record over them, all 256 units of each text. Starts the
    //   runtime's rand anew, from the time of day. Returns 1.
    static int EncryptLoginData(LOGINDATA* pData, unsigned short* pBuffer, ULONG ulCount);

    // DecryptLoginData: gathers the record from a buffer of 10000 units, whatever ulCount says. The flag is 1 or 0: whatever does
    //   not say yes says no. Returns 1.
    static int DecryptLoginData(LOGINDATA* pData, unsigned short* pBuffer, ULONG ulCount);

    // CheckOffsetArray: 1 when no two units of a record share a position.
    static int CheckOffsetArray();
};
