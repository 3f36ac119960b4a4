#include "Crypt.h"

#include "CryptObjects.h"

namespace
{
using namespace lum;

constexpr DWORD kulUsualSessionBits = 40, kulMostSessionBits = 56, kulUsualPairBits = 2048;

// The number of bits that flags ask for; false for flags that we do not know.
bool ReadFlags(DWORD ulFlags, DWORD ulUsual, DWORD& ulBits)
{
    ulBits = ulFlags >> 16 ? ulFlags >> 16 : ulUsual;
    return (ulFlags & 0xFFFF & ~CRYPT_EXPORTABLE) == 0;
}

bool IsSessionBits(DWORD ulBits) { return ulBits >= kulUsualSessionBits && ulBits <= kulMostSessionBits && ulBits % 8 == 0; }

int PairOf(ALG_ID ulAlgorithm)
{
    switch (ulAlgorithm)
    {
    case AT_KEYEXCHANGE:
    case CALG_RSA_KEYX: return PairIndex(AT_KEYEXCHANGE);
    case AT_SIGNATURE:
    case CALG_RSA_SIGN: return PairIndex(AT_SIGNATURE);
    default: return -1;
    }
}

constexpr ALG_ID kaulPairAlgorithms[kiPairs] = {CALG_RSA_KEYX, CALG_RSA_SIGN};

DWORD GenerateSession(DWORD ulFlags, HCRYPTKEY* phKey)
{
    DWORD ulBits = 0;
    if (!ReadFlags(ulFlags, kulUsualSessionBits, ulBits)) return NTE_BAD_FLAGS;
    if (!IsSessionBits(ulBits)) return NTE_BAD_DATA;
    SecretBytes secret(ulBits / 8);
    if (!RandomBytes(secret)) return NTE_FAIL;
    return PublishKey(new CryptKey(std::move(secret), ulFlags & CRYPT_EXPORTABLE), phKey);
}

DWORD GeneratePair(CryptContext& context, int iPair, DWORD ulFlags, HCRYPTKEY* phKey)
{
    DWORD ulBits = 0;
    if (!ReadFlags(ulFlags, kulUsualPairBits, ulBits)) return NTE_BAD_FLAGS;
    if (!IsPairBits(ulBits)) return NTE_BAD_DATA;
    UserPair pair;
    pair.bExportable = ulFlags & CRYPT_EXPORTABLE;
    DWORD ulError = RsaKey::Generate(ulBits, pair.key);
    if (!ulError) ulError = context.Container().Store(iPair, pair);
    return ulError ? ulError : PublishKey(new CryptKey(pair, kaulPairAlgorithms[iPair]), phKey);
}
} // namespace

BOOL CryptGenKey(HCRYPTPROV hProv, ALG_ID ulAlgorithm, DWORD ulFlags, HCRYPTKEY* phKey)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptContext> context(hProv);
        if (!context || !phKey) return ERROR_INVALID_PARAMETER;
        if (ulAlgorithm == CALG_RC4) return GenerateSession(ulFlags, phKey);
        const int iPair = PairOf(ulAlgorithm);
        return iPair < 0 ? static_cast<DWORD>(NTE_BAD_ALGID) : GeneratePair(*context, iPair, ulFlags, phKey);
    });
}

BOOL CryptDeriveKey(HCRYPTPROV hProv, ALG_ID ulAlgorithm, HCRYPTHASH hHash, DWORD ulFlags, HCRYPTKEY* phKey)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptContext> context(hProv);
        const CryptRef<CryptHash> hash(hHash);
        if (!context || !hash || !phKey) return ERROR_INVALID_PARAMETER;
        if (ulAlgorithm != CALG_RC4) return NTE_BAD_ALGID;
        DWORD ulBits = 0;
        if (!ReadFlags(ulFlags, kulUsualSessionBits, ulBits)) return NTE_BAD_FLAGS;
        if (!IsSessionBits(ulBits)) return NTE_BAD_DATA;

        std::span<const BYTE> value;
        const DWORD ulError = hash->Finish(nullptr, value);
        if (ulError) return ulError;
        SecretBytes secret(value.begin(), value.begin() + ulBits / 8);
        return PublishKey(new CryptKey(std::move(secret), ulFlags & CRYPT_EXPORTABLE), phKey);
    });
}

BOOL CryptGetUserKey(HCRYPTPROV hProv, DWORD ulKeySpec, HCRYPTKEY* phKey)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptContext> context(hProv);
        if (!context || !phKey) return ERROR_INVALID_PARAMETER;
        const int iPair = PairIndex(ulKeySpec);
        if (iPair < 0) return NTE_NO_KEY;
        UserPair pair;
        const DWORD ulError = context->Container().Load(iPair, pair);
        return ulError ? ulError : PublishKey(new CryptKey(pair, kaulPairAlgorithms[iPair]), phKey);
    });
}

BOOL CryptDestroyKey(HCRYPTKEY hKey)
{
    return Answer([&] { return Retire<CryptKey>(hKey); });
}

BOOL CryptGetKeyParam(HCRYPTKEY hKey, DWORD ulParam, BYTE* pData, DWORD* pulBytes, DWORD ulFlags)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptKey> key(hKey);
        if (!key || !pulBytes) return ERROR_INVALID_PARAMETER;
        if (ulFlags) return NTE_BAD_FLAGS;

        constexpr DWORD kulAlways = CRYPT_ENCRYPT | CRYPT_DECRYPT | CRYPT_READ | CRYPT_WRITE | CRYPT_MAC;
        DWORD ulValue;
        switch (ulParam)
        {
        case KP_ALGID: ulValue = key->Algorithm(); break;
        case KP_KEYLEN: ulValue = key->Bits(); break;
        case KP_PERMISSIONS: ulValue = kulAlways | (key->IsExportable() ? CRYPT_EXPORT : 0); break;
        default: return NTE_BAD_TYPE;
        }
        return GiveBytes(BytesOf(ulValue), pData, pulBytes);
    });
}
