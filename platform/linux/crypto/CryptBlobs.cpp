#include "Crypt.h"

#include "CryptObjects.h"

namespace
{
using namespace lum;

DWORD WrapSession(const CryptKey& key, HCRYPTKEY hExportKey, BYTE* pData, DWORD* pulBytes)
{
    const CryptRef<CryptKey> owner(hExportKey);
    if (!owner || owner->Algorithm() != CALG_RSA_KEYX) return NTE_BAD_PUBLIC_KEY;
    if (!key.IsSession()) return NTE_BAD_KEY;
    if (!key.IsExportable()) return NTE_BAD_KEY_STATE;

    DWORD ulError = NO_ERROR;
    if (!WantsBytes(kulSimpleHead + owner->Rsa().Bytes(), pData, pulBytes, ulError)) return ulError;
    SecretBytes wrapped;
    ulError = owner->Rsa().Wrap(key.Secret(), wrapped);
    return ulError ? ulError : GiveBytes(SimpleBlob(key.Algorithm(), wrapped), pData, pulBytes);
}

DWORD GiveRsa(const CryptKey& key, HCRYPTKEY hExportKey, BYTE ubType, BYTE* pData, DWORD* pulBytes)
{
    if (key.IsSession()) return NTE_BAD_KEY;
    if (hExportKey) return NTE_BAD_KEY;
    if (ubType == PRIVATEKEYBLOB && !key.IsExportable()) return NTE_BAD_KEY_STATE;
    SecretBytes bytes;
    const DWORD ulError = key.Rsa().ToBlob(ubType, key.Algorithm(), bytes);
    return ulError ? ulError : GiveBytes(bytes, pData, pulBytes);
}

// The pair that opens a wrapped session key.
DWORD FindUnwrapper(CryptContext& context, HCRYPTKEY hPublicKey, RsaKey& rsa)
{
    if (hPublicKey)
    {
        const CryptRef<CryptKey> key(hPublicKey);
        if (!key) return ERROR_INVALID_PARAMETER;
        if (key->Algorithm() != CALG_RSA_KEYX) return NTE_BAD_KEY;
        rsa = key->Rsa();
        return NO_ERROR;
    }
    UserPair pair;
    const DWORD ulError = context.Container().Load(PairIndex(AT_KEYEXCHANGE), pair);
    rsa = pair.key;
    return ulError;
}

DWORD ImportSession(CryptContext& context, const KeyBlob& blob, HCRYPTKEY hPublicKey, bool bExportable, HCRYPTKEY* phKey)
{
    constexpr std::size_t kulLeastSecret = 5, kulMostSecret = 7;
    RsaKey rsa;
    SecretBytes secret;
    DWORD ulError = FindUnwrapper(context, hPublicKey, rsa);
    if (!ulError) ulError = rsa.Unwrap(blob.wrapped, secret);
    if (ulError) return ulError;
    if (secret.size() < kulLeastSecret || secret.size() > kulMostSecret) return NTE_BAD_DATA;
    return PublishKey(new CryptKey(std::move(secret), bExportable), phKey);
}

DWORD ImportRsa(CryptContext& context, const KeyBlob& blob, bool bExportable, HCRYPTKEY* phKey)
{
    UserPair pair;
    DWORD ulError = RsaKey::FromBlob(blob, pair.key);
    if (ulError) return ulError;
    if (blob.ubType == PRIVATEKEYBLOB)
    {
        pair.bExportable = bExportable;
        ulError = context.Container().Store(PairIndex(blob.ulAlgorithm == CALG_RSA_KEYX ? AT_KEYEXCHANGE : AT_SIGNATURE), pair);
        if (ulError) return ulError;
    }
    return PublishKey(new CryptKey(pair, blob.ulAlgorithm), phKey);
}
} // namespace

BOOL CryptExportKey(HCRYPTKEY hKey, HCRYPTKEY hExportKey, DWORD ulBlobType, DWORD ulFlags, BYTE* pData, DWORD* pulBytes)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptKey> key(hKey);
        if (!key || !pulBytes) return ERROR_INVALID_PARAMETER;
        if (ulFlags) return NTE_BAD_FLAGS;
        switch (ulBlobType)
        {
        case SIMPLEBLOB: return WrapSession(*key, hExportKey, pData, pulBytes);
        case PUBLICKEYBLOB:
        case PRIVATEKEYBLOB: return GiveRsa(*key, hExportKey, static_cast<BYTE>(ulBlobType), pData, pulBytes);
        default: return NTE_BAD_TYPE;
        }
    });
}

BOOL CryptImportKey(HCRYPTPROV hProv, const BYTE* pData, DWORD ulBytes, HCRYPTKEY hPublicKey, DWORD ulFlags, HCRYPTKEY* phKey)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptContext> context(hProv);
        if (!context || !phKey || !pData || ulBytes == 0) return ERROR_INVALID_PARAMETER;
        if (ulFlags & ~CRYPT_EXPORTABLE) return NTE_BAD_FLAGS;
        const bool bExportable = ulFlags & CRYPT_EXPORTABLE;
        KeyBlob blob;
        const DWORD ulError = ParseKeyBlob({pData, ulBytes}, blob);
        if (ulError) return ulError;
        return blob.ubType == SIMPLEBLOB ? ImportSession(*context, blob, hPublicKey, bExportable, phKey)
                                         : ImportRsa(*context, blob, bExportable, phKey);
    });
}
