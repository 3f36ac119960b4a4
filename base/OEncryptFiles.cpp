// Files, encrypted and decrypted.
#include "OEncrypt.h"

#include "CryptFiles.h"
#include "CryptHolders.h"

static constexpr const char* kpNoDestination = "Error opening destination file";

static const char* CryptTitle(bool bEncrypt) { return bEncrypt ? "CryptEncrypt Error" : "CryptDecrypt Error"; }

int OEncrypt::EncryptFileA(const char* pSource, const char* pDestination, const char* pPassword)
{
    return CryptFile(pSource, pDestination, pPassword, true);
}

int OEncrypt::DecryptFileA(const char* pSource, const char* pDestination, const char* pPassword)
{
    return CryptFile(pSource, pDestination, pPassword, false);
}

int OEncrypt::CryptFile(const char* pSource, const char* pDestination, const char* pPassword, bool bEncrypt)
{
    if (!mulInitialised) return 1;
    mulError = 0;
    FILE* pFrom = nullptr;
    OOutputFile output;
    const bool bOpen = OpenBothFiles(pSource, &pFrom, pDestination, output) == 0;
    if (bOpen && CryptOpenFiles(pFrom, output, pPassword, bEncrypt) == 0) output.IsWhole();
    if (pFrom) std::fclose(pFrom);
    return 0;
}

// With the key that the password, the source or chance gives. Only then is the destination emptied.
int OEncrypt::CryptOpenFiles(FILE* pFrom, OOutputFile& output, const char* pPassword, bool bEncrypt)
{
    OCryptBytes blob;
    const bool bNewKey = bEncrypt && !pPassword;
    const OKeyHolder key(pPassword  ? GetKeyFromHashedPassword(pPassword)
                         : bEncrypt ? NewSessionKey(blob)
                                    : GetKeyBlobFromFile(pFrom));
    if (!key) return pPassword ? Failed(CryptTitle(bEncrypt), 3) : 3; // the others have told
    if (!output.Empty()) return Failed(kpNoDestination, 6);
    FILE* pTo = output.Stream();
    if (bNewKey && WriteBlob(pTo, blob) != 0) return 2;
    return ProcessSrcAndDstFiles(key, bEncrypt, &pFrom, &pTo);
}

int OEncrypt::OpenSrcAndDstFiles(const char* pSource, FILE** ppSource, const char* pDestination, FILE** ppDestination)
{
    *ppDestination = nullptr;
    OOutputFile output;
    if (const int iResult = OpenBothFiles(pSource, ppSource, pDestination, output)) return iResult;
    if (!output.Empty()) return Failed(kpNoDestination, 6);
    *ppDestination = output.Drop();
    return 0;
}

// What the destination holds stays, to be written over from the start.
int OEncrypt::OpenBothFiles(const char* pSource, FILE** ppSource, const char* pDestination, OOutputFile& output)
{
    OFileId source;
    *ppSource = OpenCryptFile(pSource, source);
    if (!*ppSource) return Failed("Error opening source file", 5);
    if (!output.Open(pDestination)) return Failed(kpNoDestination, 6);
    if (!source.IsSame(output.Id())) return 0;
    SetLastError(ERROR_INVALID_PARAMETER);
    return Failed(kpNoDestination, 6);
}

int OEncrypt::ProcessSrcAndDstFiles(HCRYPTKEY hKey, int bEncrypt, FILE** ppSource, FILE** ppDestination)
{
    OCryptBytes buffer;
    if (!buffer.Allocate(kulCryptRoom)) return OutOfMemory("Error Out of Memory", 2);
    const auto apply = [&](BYTE* pBlock, DWORD ulBlock, bool bFinal) {
        return bEncrypt ? CryptEncrypt(hKey, 0, bFinal, 0, pBlock, &ulBlock, kulCryptBlock)
                        : CryptDecrypt(hKey, 0, bFinal, 0, pBlock, &ulBlock);
    };
    for (bool bLast = false; !bLast;)
    {
        DWORD ulBytes = 0;
        if (!ReadCryptBytes(*ppSource, buffer.Data(), ulBytes, bLast)) return Failed("Error reading Plaintext", 2);
        if (!ForEachCryptBlock(buffer.Data(), ulBytes, bLast, apply)) return Failed(CryptTitle(bEncrypt), 3);
        const bool bWritten = std::fwrite(buffer.Data(), 1, ulBytes, *ppDestination) == ulBytes;
        if (!bWritten || (bLast && std::fflush(*ppDestination) != 0)) return Failed("Error writing Ciphertext", 2);
    }
    return 0;
}

int OEncrypt::CloseSrcAndDstFiles(FILE** ppSource, FILE** ppDestination)
{
    for (FILE** ppFile : {ppSource, ppDestination})
        if (*ppFile) std::fclose(std::exchange(*ppFile, nullptr));
    return 0;
}
