// Signatures of files.
#include "OEncrypt.h"

#include "CryptFiles.h"
#include "CryptHolders.h"

static constexpr const char* kpSignError = "CryptSignHash Error";
static constexpr const char* kpOpenError = "Error opening signature file";

// What signing and verifying take for a while.
struct OEncrypt::OSigned
{
    OFileId id; // of the file
    OHashHolder hash;
    OCryptBytes signature; // room for one, as long as the container's pair makes them
};

// The MD5 of a file. On failure there is no hash, and the result is what signing or verifying is to give.
int OEncrypt::HashFile(const char* pSource, OSigned& file)
{
    OCryptBytes buffer;
    if (!buffer.Allocate(kulCryptRoom)) return OutOfMemory("Error Out of Memory", 0);
    const OStreamHolder stream(OpenCryptFile(pSource, file.id));
    if (!stream) return Failed("Error opening source file", 5);
    OHashHolder hash;
    if (!CryptCreateHash(mhProvider, CALG_MD5, 0, 0, hash.Room())) return Failed("CryptCreateHash Error", 0);
    for (bool bLast = false; !bLast;)
    {
        DWORD ulBytes = 0;
        if (!ReadCryptBytes(stream.get(), buffer.Data(), ulBytes, bLast)) return Failed("Error reading Plaintext", 2);
        const auto add = [&](BYTE* pBlock, DWORD ulBlock, bool) { return CryptHashData(hash, pBlock, ulBlock, 0); };
        if (!ForEachCryptBlock(buffer.Data(), ulBytes, bLast, add)) return Failed("CryptHashData Error", 0);
    }
    *file.hash.Room() = hash.Drop();
    return 0;
}

// How both begin. False: it ends here, with that result.
bool OEncrypt::BeginSignature(const char* pSource, OSigned& file, int& iResult)
{
    iResult = 1;
    if (!mulInitialised) return false;
    mulError = 0;
    iResult = HashFile(pSource, file);
    if (!file.hash) return false;
    DWORD ulBytes = 0;
    if (!CryptSignHashA(file.hash, AT_SIGNATURE, nullptr, 0, nullptr, &ulBytes)) return Failed(kpSignError, 0);
    return file.signature.Allocate(ulBytes) || OutOfMemory("Error Out of Memory", 0);
}

int OEncrypt::SignFile(const char* pSource, const char* pSignatureFile, const char* pDescription)
{
    OSigned file;
    int iResult;
    if (!BeginSignature(pSource, file, iResult)) return iResult;
    DWORD ulBytes = file.signature.Count();
    if (!CryptSignHashA(file.hash, AT_SIGNATURE, pDescription, 0, file.signature.Data(), &ulBytes)) return Failed(kpSignError, 0);

    OOutputFile output;
    if (!output.Open(pSignatureFile)) return Failed(kpOpenError, 6);
    if (output.Id().IsSame(file.id))
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return Failed(kpOpenError, 6);
    }
    if (!output.Empty()) return Failed(kpOpenError, 6);
    if (std::fwrite(file.signature.Data(), 1, ulBytes, output.Stream()) != ulBytes || std::fflush(output.Stream()) != 0)
        return Failed("Error writing signature", 2);
    output.IsWhole();
    return 0;
}

int OEncrypt::VerifyFile(const char* pSource, const char* pSignatureFile, const char* pDescription)
{
    OSigned file;
    int iResult;
    if (!BeginSignature(pSource, file, iResult)) return iResult;

    OFileId ignored;
    const OStreamHolder stream(OpenCryptFile(pSignatureFile, ignored));
    if (!stream) return Failed(kpOpenError, 5);
    // One byte more than belongs there, so that a signature of another length is found to be one.
    const auto ulBytes = static_cast<DWORD>(std::fread(file.signature.Data(), 1, file.signature.Count() + 1, stream.get()));
    if (std::ferror(stream.get())) return Failed("Error reading signature", 2);

    OKeyHolder key;
    if (!CryptGetUserKey(mhProvider, AT_SIGNATURE, key.Room())) return Failed("CryptGetUserKey Error", 0);
    if (CryptVerifySignatureA(file.hash, file.signature.Data(), ulBytes, key, pDescription, 0)) return 0;
    if (::GetLastError() != static_cast<DWORD>(NTE_BAD_SIGNATURE)) return Failed("CryptVerifySignature Error", 0);
    mulError = ::GetLastError();
    return 4;
}
