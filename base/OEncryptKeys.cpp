// Session keys: of a password, and as blobs.
#include "OEncrypt.h"

#include "CryptFiles.h"
#include "CryptHolders.h"

#include <cstring>

// A session key wrapped with the longest pair that a provider makes, 16,384 bits, has 2,060 bytes. For more than this no memory is
// asked.
static constexpr DWORD kulMostBlob = 64 * 1024;

HCRYPTKEY OEncrypt::GetKeyFromHashedPassword(const char* pPassword)
{
    OHashHolder hash;
    OKeyHolder key;
    if (!pPassword || !CryptCreateHash(mhProvider, CALG_MD5, 0, 0, hash.Room())) return 0;
    const auto* const pBytes = reinterpret_cast<const BYTE*>(pPassword);
    if (!CryptHashData(hash, pBytes, static_cast<DWORD>(std::strlen(pPassword)), 0)) return 0;
    return CryptDeriveKey(mhProvider, CALG_RC4, hash, 0, key.Room()) ? key.Drop() : 0;
}

// A new key as whoever opens its blob will have it. Some providers put salt of their own to a key that they make, which does not
// travel: what is encrypted with that one nobody decrypts.
HCRYPTKEY OEncrypt::NewSessionKey(OCryptBytes& blob)
{
    OKeyHolder made;
    if (!CryptGenKey(mhProvider, CALG_RC4, CRYPT_EXPORTABLE, made.Room())) return Failed("CryptEncrypt Error", 0);
    return ExportBlob(made, blob) == 0 ? ImportBlob(blob) : 0;
}

int OEncrypt::ExportBlob(HCRYPTKEY hKey, OCryptBytes& blob)
{
    OKeyHolder pair;
    if (!CryptGetUserKey(mhProvider, AT_KEYEXCHANGE, pair.Room())) return Failed("CryptGetUserKey Error", 3);
    DWORD ulBytes = 0;
    if (!CryptExportKey(hKey, pair, SIMPLEBLOB, 0, nullptr, &ulBytes)) return Failed("Error computing blob length", 3);
    if (!blob.Allocate(ulBytes)) return OutOfMemory("Error out of memory", 2);
    if (!CryptExportKey(hKey, pair, SIMPLEBLOB, 0, blob.Data(), &ulBytes)) return Failed("CryptExportKey Error", 3);
    return 0;
}

int OEncrypt::WriteBlob(FILE* pFile, const OCryptBytes& blob)
{
    const DWORD ulBytes = blob.Count();
    if (!pFile) SetLastError(ERROR_INVALID_HANDLE);
    const bool bDone = pFile && std::fwrite(&ulBytes, sizeof ulBytes, 1, pFile) == 1 &&
                       std::fwrite(blob.Data(), 1, ulBytes, pFile) == ulBytes && std::fflush(pFile) == 0;
    return bDone ? 0 : Failed("Error writing header", 2);
}

HCRYPTKEY OEncrypt::ImportBlob(const OCryptBytes& blob)
{
    OKeyHolder key;
    if (CryptImportKey(mhProvider, blob.Data(), blob.Count(), 0, 0, key.Room())) return key.Drop();

    // There are providers that want to be handed the pair that others look for themselves.
    const DWORD ulError = ::GetLastError();
    OKeyHolder pair;
    if (ulError == static_cast<DWORD>(NTE_BAD_PUBLIC_KEY) && CryptGetUserKey(mhProvider, AT_KEYEXCHANGE, pair.Room()))
    {
        if (CryptImportKey(mhProvider, blob.Data(), blob.Count(), pair, 0, key.Room())) return key.Drop();
    }
    else SetLastError(ulError);
    return Failed("CryptImportKey Error", 0);
}

int OEncrypt::PutKeyBlobToFile(FILE* pFile, HCRYPTKEY hKey)
{
    OCryptBytes blob;
    const int iResult = ExportBlob(hKey, blob);
    return iResult ? iResult : WriteBlob(pFile, blob);
}

HCRYPTKEY OEncrypt::GetKeyBlobFromFile(FILE* pFile)
{
    constexpr const char* kpHeader = "Error reading file header";
    const auto isRead = [&](void* pRoom, DWORD ulBytes) {
        if (!pFile) return false; // the last error says why
        if (std::fread(pRoom, 1, ulBytes, pFile) == ulBytes) return true;
        if (!std::ferror(pFile)) SetLastError(ERROR_HANDLE_EOF);
        return false;
    };
    DWORD ulBytes = 0;
    if (!isRead(&ulBytes, sizeof ulBytes)) return Failed(kpHeader, 0);
    OCryptBytes blob;
    if (ulBytes > kulMostBlob || !blob.Allocate(ulBytes))
        return OutOfMemory("Error Out of memory or improperly formatted source file!", 0);
    if (!isRead(blob.Data(), ulBytes)) return Failed(kpHeader, 0);
    return ImportBlob(blob);
}

int OEncrypt::ImportKeyBlob(HCRYPTKEY* phKey, const char* pPath)
{
    mulError = 0;
    OFileId id;
    const OStreamHolder file(OpenCryptFile(pPath, id));
    *phKey = GetKeyBlobFromFile(file.get());
    return 0;
}

int OEncrypt::ExportKeyBlob(HCRYPTKEY hKey, const char* pPath)
{
    mulError = 0;
    OCryptBytes blob;
    if (ExportBlob(hKey, blob) != 0) return 0;
    OOutputFile output;
    if (!output.Open(pPath) || !output.Empty()) Failed("Error writing header", 2);
    else if (WriteBlob(output.Stream(), blob) == 0) output.IsWhole();
    return 0;
}
