// Signatures of files.
#include "OEncrypt.h"

#include "CryptFiles.h"
#include "CryptHolders.h"

static constexpr const char* kpSignError = "CryptSignHash Error";
static constexpr const char* kpOpenError = "Error opening signature file";

// The MD5 of a file. On failure there is no hash, and the result is what signing or verifying is to give.
int OEncrypt::HashFile(const char* pSource, HCRYPTHASH* phHash, OFileId& source)
{
    OCryptBytes buffer;
    if (!buffer.Allocate(kulCryptRoom)) return OutOfMemory("Error Out of Memory", 0);
    const OStreamHolder file(OpenCryptFile(pSource, source));
    if (!file) return Failed("Error opening source file", 5);
    OHashHolder hash;
    if (!CryptCreateHash(mhProvider, CALG_MD5, 0, 0, hash.Room())) return Failed("CryptCreateHash Error", 0);
    for (bool bLast = false; !bLast;)
    {
        DWORD ulBytes = 0;
        if (!ReadCryptBytes(file.get(), buffer.Data(), ulBytes, bLast)) return Failed("Error reading Plaintext", 2);
        const auto add = [&](BYTE* pBlock, DWORD ulBlock, bool) { return CryptHashData(hash, pBlock, ulBlock, 0); };
        if (!ForEachCryptBlock(buffer.Data(), ulBytes, bLast, add)) return Failed("CryptHashData Error", 0);
    }
    *phHash = hash.Drop();
    return 0;
}

// Room for a signature, as long as the container's pair makes them.
bool OEncrypt::SizeSignature(HCRYPTHASH hHash, OCryptBytes& signature)
{
    DWORD ulBytes = 0;
    if (!CryptSignHashA(hHash, AT_SIGNATURE, nullptr, 0, nullptr, &ulBytes)) return Failed(kpSignError, 0);
    return signature.Allocate(ulBytes) || OutOfMemory("Error Out of Memory", 0);
}

int OEncrypt::SignFile(const char* pSource, const char* pSignatureFile, const char* pDescription)
{
    if (!mulInitialised) return 1;
    mulError = 0;
    OHashHolder hash;
    OFileId source;
    const int iResult = HashFile(pSource, hash.Room(), source);
    OCryptBytes signature;
    if (!hash || !SizeSignature(hash, signature)) return iResult;
    DWORD ulBytes = signature.Count();
    if (!CryptSignHashA(hash, AT_SIGNATURE, pDescription, 0, signature.Data(), &ulBytes)) return Failed(kpSignError, 0);

    OOutputFile output;
    if (!output.Open(pSignatureFile)) return Failed(kpOpenError, 6);
    if (output.Id().IsSame(source))
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return Failed(kpOpenError, 6);
    }
    if (!output.Empty()) return Failed(kpOpenError, 6);
    if (std::fwrite(signature.Data(), 1, ulBytes, output.Stream()) != ulBytes || std::fflush(output.Stream()) != 0)
        return Failed("Error writing signature", 2);
    output.IsWhole();
    return 0;
}

int OEncrypt::VerifyFile(const char* pSource, const char* pSignatureFile, const char* pDescription)
{
    if (!mulInitialised) return 1;
    mulError = 0;
    OHashHolder hash;
    OFileId ignored;
    const int iResult = HashFile(pSource, hash.Room(), ignored);
    OCryptBytes signature;
    if (!hash || !SizeSignature(hash, signature)) return iResult;

    const OStreamHolder file(OpenCryptFile(pSignatureFile, ignored));
    if (!file) return Failed(kpOpenError, 5);
    // One byte more than belongs there, so that a signature of another length is found to be one.
    const auto ulBytes = static_cast<DWORD>(std::fread(signature.Data(), 1, signature.Count() + 1, file.get()));
    if (std::ferror(file.get())) return Failed("Error reading signature", 2);

    OKeyHolder key;
    if (!CryptGetUserKey(mhProvider, AT_SIGNATURE, key.Room())) return Failed("CryptGetUserKey Error", 0);
    if (CryptVerifySignatureA(hash, signature.Data(), ulBytes, key, pDescription, 0)) return 0;
    if (::GetLastError() != static_cast<DWORD>(NTE_BAD_SIGNATURE)) return Failed("CryptVerifySignature Error", 0);
    mulError = ::GetLastError();
    return 4;
}
