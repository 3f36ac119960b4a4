#include "Crypt.h"

#include "CryptObjects.h"

namespace
{
using namespace lum;

// Finishes the hash when its value is given, not when its size is asked for.
DWORD GiveValue(CryptHash& hash, BYTE* pData, DWORD* pulBytes)
{
    DWORD ulError = NO_ERROR;
    if (!WantsBytes(kulMd5Bytes, pData, pulBytes, ulError)) return ulError;
    std::span<const BYTE> value;
    ulError = hash.Finish(nullptr, value);
    return ulError ? ulError : GiveBytes(value, pData, pulBytes);
}
} // namespace

BOOL CryptCreateHash(HCRYPTPROV hProv, ALG_ID ulAlgorithm, HCRYPTKEY hKey, DWORD ulFlags, HCRYPTHASH* phHash)
{
    return Answer([&]() -> DWORD {
        CryptRef<CryptContext> context(hProv);
        if (!context || !phHash) return ERROR_INVALID_PARAMETER;
        if (ulFlags) return NTE_BAD_FLAGS;
        if (ulAlgorithm != CALG_MD5) return NTE_BAD_ALGID;
        if (hKey) return ERROR_INVALID_PARAMETER;

        auto* pHash = new CryptHash(context.TakeRef());
        if (pHash->IsReady()) return Publish(pHash, phHash);
        pHash->Release();
        return NTE_NO_MEMORY;
    });
}

BOOL CryptHashData(HCRYPTHASH hHash, const BYTE* pData, DWORD ulBytes, DWORD ulFlags)
{
    const CryptRef<CryptHash> hash(hHash);
    DWORD ulError = ERROR_INVALID_PARAMETER;
    if (hash && (pData || ulBytes == 0)) ulError = ulFlags ? static_cast<DWORD>(NTE_BAD_FLAGS) : hash->Add({pData, ulBytes});
    if (ulError == NO_ERROR) return TRUE;
    SetLastError(ulError);
    return FALSE;
}

BOOL CryptGetHashParam(HCRYPTHASH hHash, DWORD ulParam, BYTE* pData, DWORD* pulBytes, DWORD ulFlags)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptHash> hash(hHash);
        if (!hash || !pulBytes) return ERROR_INVALID_PARAMETER;
        if (ulFlags) return NTE_BAD_FLAGS;
        switch (ulParam)
        {
        case HP_ALGID: return GiveBytes(BytesOf(ALG_ID{CALG_MD5}), pData, pulBytes);
        case HP_HASHSIZE: return GiveBytes(BytesOf(kulMd5Bytes), pData, pulBytes);
        case HP_HASHVAL: return GiveValue(*hash, pData, pulBytes);
        default: return NTE_BAD_TYPE;
        }
    });
}

BOOL CryptDestroyHash(HCRYPTHASH hHash)
{
    return Answer([&] { return Retire<CryptHash>(hHash); });
}
