#include "Crypt.h"

#include "CryptObjects.h"

namespace
{
using namespace lum;

DWORD Sign(CryptHash& hash, int iPair, LPCSTR pDescription, BYTE* pSignature, DWORD* pulBytes)
{
    UserPair pair;
    DWORD ulError = hash.Context().Container().Load(iPair, pair);
    if (ulError) return ulError;

    if (!WantsBytes(pair.key.Bytes(), pSignature, pulBytes, ulError)) return ulError;
    std::span<const BYTE> value;
    ulError = hash.Finish(pDescription, value);
    return ulError ? ulError : pair.key.Sign(value, {pSignature, pair.key.Bytes()});
}
} // namespace

BOOL CryptSignHashA(HCRYPTHASH hHash, DWORD ulKeySpec, LPCSTR pDescription, DWORD ulFlags, BYTE* pSignature, DWORD* pulBytes)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptHash> hash(hHash);
        if (!hash || !pulBytes) return ERROR_INVALID_PARAMETER;
        if (ulFlags) return NTE_BAD_FLAGS;
        const int iPair = PairIndex(ulKeySpec);
        return iPair < 0 ? static_cast<DWORD>(NTE_NO_KEY) : Sign(*hash, iPair, pDescription, pSignature, pulBytes);
    });
}

BOOL CryptVerifySignatureA(HCRYPTHASH hHash, const BYTE* pSignature, DWORD ulBytes, HCRYPTKEY hPublicKey, LPCSTR pDescription,
                           DWORD ulFlags)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptHash> hash(hHash);
        const CryptRef<CryptKey> key(hPublicKey);
        if (!hash || !key || (!pSignature && ulBytes)) return ERROR_INVALID_PARAMETER;
        if (ulFlags) return NTE_BAD_FLAGS;
        if (key->IsSession()) return NTE_BAD_KEY;
        std::span<const BYTE> value;
        const DWORD ulError = hash->Finish(pDescription, value);
        return ulError ? ulError : key->Rsa().Verify(value, {pSignature, ulBytes});
    });
}
