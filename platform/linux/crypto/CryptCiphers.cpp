#include "Crypt.h"

#include "../kernel/Errno.h"
#include "CryptObjects.h"

namespace
{
using namespace lum;

// The fast path of a file of many blocks: two look-ups at most, no memory.
BOOL Apply(HCRYPTKEY hKey, HCRYPTHASH hHash, std::span<BYTE> data, bool bFinal, bool bHashFirst)
{
    const CryptRef<CryptKey> key(hKey);
    if (!key) return Fail(ERROR_INVALID_PARAMETER);
    if (!key->IsSession()) return Fail(NTE_BAD_KEY);
    DWORD ulError;
    if (!hHash) ulError = key->Apply(data, bFinal, nullptr, false);
    else if (const CryptRef<CryptHash> hash(hHash); hash) ulError = key->Apply(data, bFinal, &*hash, bHashFirst);
    else ulError = ERROR_INVALID_PARAMETER;
    return ulError ? Fail(ulError) : TRUE;
}
} // namespace

BOOL CryptEncrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL bFinal, DWORD ulFlags, BYTE* pData, DWORD* pulBytes, DWORD ulRoom)
{
    if (!pulBytes) return Fail(ERROR_INVALID_PARAMETER);
    if (ulFlags) return Fail(NTE_BAD_FLAGS);
    if (!pData)
    {
        const CryptRef<CryptKey> key(hKey);
        if (!key) return Fail(ERROR_INVALID_PARAMETER);
        if (!key->IsSession()) return Fail(NTE_BAD_KEY);
        return TRUE;
    }
    if (ulRoom < *pulBytes) return Fail(ERROR_MORE_DATA);
    return Apply(hKey, hHash, {pData, *pulBytes}, bFinal, true);
}

BOOL CryptDecrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL bFinal, DWORD ulFlags, BYTE* pData, DWORD* pulBytes)
{
    if (!pulBytes || !pData) return Fail(ERROR_INVALID_PARAMETER);
    if (ulFlags) return Fail(NTE_BAD_FLAGS);
    return Apply(hKey, hHash, {pData, *pulBytes}, bFinal, false);
}
