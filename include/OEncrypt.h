// Encrypted files and signatures, and the protected form of the login record.
//
//  * Files are encrypted with RC4 and 40 bits and signed over their MD5, by the base provider and the user's usual key container
//    (docs/format_crypt.md says how weak that is). The container's pairs are made elsewhere; without them only passwords work.
//  * A failure is shown in a message box and kept for GetError. Many results are 0 all the same: ask GetError. Init, EncryptFileA,
//    DecryptFileA, SignFile, VerifyFile, ImportKeyBlob and ExportKeyBlob begin by clearing it; after any other call it may be
//    that of an earlier one.
//  * A destination keeps what it held until the key is there; a file that could not be finished is removed. A file is not written
//    over itself, whichever way its names are spelled: ERROR_INVALID_PARAMETER.
//  * Results: 0 done, 1 no Init, 2 reading, writing or memory, 3 cryptography, 4 the signature does not match, 5 the source or
//    signature does not open, 6 the destination does not open.
//  * One thread at a time. Objects that were assigned to one another share the container's handle; each gives it back.
//  * The login record's characters are scattered over a larger buffer of random letters, by positions that never change. This
//    keeps a password from a passing glance, not from whoever has the library: there is no key.
#pragma once

#include "Platform.h"

#include <cstdio>

// ReportCryptoError: shows a text for the last error, or else for ulCode; 0 shows nothing. Without a title there is a usual one.
void ReportCryptoError(int bUseLastError, ULONG ulCode, const char* pTitle);

// An account, and whether the library is to work as it.
struct LOGINDATA
{
    unsigned short awcText1[256]; // zero-terminated
    unsigned short awcText2[256];
    unsigned short awcText3[256];
    ULONG ulFlag; // nonzero: login security is configured
};
static_assert(sizeof(LOGINDATA) == 1540 && offsetof(LOGINDATA, ulFlag) == 1536);

class OCryptBytes;
class OOutputFile;

class OEncrypt
{
public:
    OEncrypt();
    OEncrypt(const OEncrypt& source);
    OEncrypt& operator=(const OEncrypt& source);
    ~OEncrypt();

    // Init: opens the container, or makes one without pairs. 1 or 0. The arguments are not used.
    int Init(const char* pUnused = nullptr, const char* pUnused2 = nullptr, ULONG ulUnused = 0, ULONG ulUnused2 = 0);
    // RemoveUser: removes the container, and the pairs are lost. 0 or 3.
    int RemoveUser();

    ULONG RequiredBufferSize(ULONG) const { return 0; }
    ULONG GetError() const { return mulError; }

    // EncryptFileA, DecryptFileA: without a password (null) the file begins with a key that only the container's exchange pair
    //   opens. A wrong password gives garbage and no error. 0 or 1.
    int EncryptFileA(const char* pSource, const char* pDestination, const char* pPassword);
    int DecryptFileA(const char* pSource, const char* pDestination, const char* pPassword);

    // SignFile, VerifyFile: with the container's signature pair; what was signed with a description is verified with it (or null).
    //   A file changed since, or a signature of another length, gives 4 and no message.
    int SignFile(const char* pSource, const char* pSignatureFile, const char* pDescription);
    int VerifyFile(const char* pSource, const char* pSignatureFile, const char* pDescription);

    // Session keys; whoever gets one ends it with CryptDestroyKey. 0: there is none.
    // GetKeyFromHashedPassword: that of a password. Shows and keeps no error.
    HCRYPTKEY GetKeyFromHashedPassword(const char* pPassword);
    // ImportKeyBlob, ExportKeyBlob: the key of a file of its own. 0.
    int ImportKeyBlob(HCRYPTKEY* phKey, const char* pPath);
    int ExportKeyBlob(HCRYPTKEY hKey, const char* pPath);
    // GetKeyBlobFromFile, PutKeyBlobToFile: the key at the position of a binary stream. The latter: 0, 2 or 3. No stream is a
    //   failure like any other.
    HCRYPTKEY GetKeyBlobFromFile(FILE* pFile);
    int PutKeyBlobToFile(FILE* pFile, HCRYPTKEY hKey);

    // Statistics: prints the provider's algorithms, those that this object has not printed yet. 1 or 0.
    int Statistics();

    // EncryptLoginData: fills ulCount units, 10000 on disk, and scatters the record over them, all 256 units of each text. Starts
    //   the runtime's rand anew, from the time of day. Returns 1.
    static int EncryptLoginData(LOGINDATA* pData, unsigned short* pBuffer, ULONG ulCount);

    // DecryptLoginData: gathers the record from a buffer of 10000 units, whatever ulCount says. The flag is 1 or 0: whatever does
    //   not say yes says no. Returns 1.
    static int DecryptLoginData(LOGINDATA* pData, unsigned short* pBuffer, ULONG ulCount);

    // CheckOffsetArray: 1 when no two units of a record share a position.
    static int CheckOffsetArray();

protected:
    // The steps of encryption and decryption. The first empties the destination.
    int OpenSrcAndDstFiles(const char* pSource, FILE** ppSource, const char* pDestination, FILE** ppDestination);
    int ProcessSrcAndDstFiles(HCRYPTKEY hKey, int bEncrypt, FILE** ppSource, FILE** ppDestination);
    int CloseSrcAndDstFiles(FILE** ppSource, FILE** ppDestination);

private:
    int Failed(const char* pTitle, int iResult); // keeps and shows the last error
    int OutOfMemory(const char* pTitle, int iResult);
    void Release();

    int CryptFile(const char* pSource, const char* pDestination, const char* pPassword, bool bEncrypt);
    int OpenBothFiles(const char* pSource, FILE** ppSource, const char* pDestination, OOutputFile& output);
    int CryptOpenFiles(FILE* pFrom, OOutputFile& output, const char* pPassword, bool bEncrypt);
    HCRYPTKEY NewSessionKey(OCryptBytes& blob);
    int ExportBlob(HCRYPTKEY hKey, OCryptBytes& blob);
    int WriteBlob(FILE* pFile, const OCryptBytes& blob);
    HCRYPTKEY ImportBlob(const OCryptBytes& blob);
    struct OSigned;
    int HashFile(const char* pSource, OSigned& file);
    bool BeginSignature(const char* pSource, OSigned& file, int& iResult);

protected: // a program that works with another container derives from it
    ULONG mulInitialised = 0;
    HCRYPTPROV mhProvider = 0;

private:
    ULONG mulError = 0;
    ULONG mulSpare; // not ours: assignment alone copies it
};
