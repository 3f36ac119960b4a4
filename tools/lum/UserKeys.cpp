#include "UserKeys.h"

#include <algorithm>
#include <cstring>

namespace tool
{
static constexpr const char* kpNoPair = "your keys have no such pair (lum crypt keys create makes it)";

struct CryptHint
{
    DWORD ulError;
    const char* pText;
};
static constexpr CryptHint kHints[] = {
    {static_cast<DWORD>(NTE_NO_KEY), kpNoPair},
    {static_cast<DWORD>(NTE_BAD_PUBLIC_KEY), kpNoPair}, // of a key that is for it
    {static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD), "the file of your keys is damaged (lum crypt keys remove makes room for new ones)"},
    {static_cast<DWORD>(NTE_PERM),
     "others may read or change the file of your keys, or it is not yours: they are not used (docs/format_keys.md)"},
    {static_cast<DWORD>(NTE_BAD_KEY_STATE), "the pair may not leave this machine"},
    {static_cast<DWORD>(NTE_PROV_DLL_NOT_FOUND), "OpenSSL's legacy provider, which has RC4, is not installed"},
};

std::string CryptReason(DWORD ulError)
{
    const auto* pHint = std::ranges::find(kHints, ulError, &CryptHint::ulError);
    return pHint != std::end(kHints) ? pHint->pText : SystemText(ulError);
}

Stop CryptFailure(const std::string& sWhat, DWORD ulError) { return Stop(kFailure, sWhat + " failed: " + CryptReason(ulError)); }

static void Require(BOOL bDone, const std::string& sWhat)
{
    if (!bDone) throw CryptFailure(sWhat, GetLastError());
}

// ---- one pair

unsigned KeyPair::Bits() const
{
    DWORD ulBits = 0, ulBytes = sizeof ulBits;
    Require(CryptGetKeyParam(mhKey, KP_KEYLEN, reinterpret_cast<BYTE*>(&ulBits), &ulBytes, 0), "looking at a pair");
    return ulBits;
}

Secret KeyPair::Blob(DWORD ulBlobType) const
{
    DWORD ulBytes = 0;
    Require(CryptExportKey(mhKey, 0, ulBlobType, 0, nullptr, &ulBytes), "exporting the pair");
    Secret blob(ulBytes);
    Require(CryptExportKey(mhKey, 0, ulBlobType, 0, blob.Bytes(), &ulBytes), "exporting the pair");
    blob.Resize(ulBytes);
    return blob;
}

std::string KeyPair::Fingerprint() const
{
    Secret blob = Blob(PUBLICKEYBLOB);
    HCRYPTPROV hProvider = 0;
    HCRYPTHASH hHash = 0;
    BYTE aubValue[16] = {};
    DWORD ulBytes = sizeof aubValue;
    const bool bDone = CryptAcquireContextA(&hProvider, nullptr, MS_DEF_PROV_A, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) &&
                       CryptCreateHash(hProvider, CALG_MD5, 0, 0, &hHash) &&
                       CryptHashData(hHash, blob.Bytes(), static_cast<DWORD>(blob.Size()), 0) &&
                       CryptGetHashParam(hHash, HP_HASHVAL, aubValue, &ulBytes, 0);
    const DWORD ulError = GetLastError();
    if (hHash) CryptDestroyHash(hHash);
    if (hProvider) CryptReleaseContext(hProvider, 0);
    if (!bDone) throw CryptFailure("looking at a pair", ulError);

    std::string sText;
    for (const BYTE ubByte : aubValue) sText += Format(sText.empty() ? "%02x" : ":%02x", ubByte);
    return sText;
}

// ---- the container

UserKeys::UserKeys(Missing eMissing)
{
    if (CryptAcquireContextA(&mhProvider, nullptr, MS_DEF_PROV_A, PROV_RSA_FULL, 0)) return;
    mhProvider = 0;
    const DWORD ulError = GetLastError();
    if (ulError != static_cast<DWORD>(NTE_BAD_KEYSET)) throw CryptFailure("opening your keys", ulError);
    if (eMissing == Missing::Stays) return;
    Require(CryptAcquireContextA(&mhProvider, nullptr, MS_DEF_PROV_A, PROV_RSA_FULL, CRYPT_NEWKEYSET),
            "making a place for your keys");
}

UserKeys::~UserKeys()
{
    if (mhProvider) CryptReleaseContext(mhProvider, 0);
}

KeyPair UserKeys::Find(const KeyKind& kind) const
{
    HCRYPTKEY hKey = 0;
    if (!mhProvider || CryptGetUserKey(mhProvider, kind.ulKeySpec, &hKey)) return KeyPair(hKey);
    const DWORD ulError = GetLastError();
    if (ulError != static_cast<DWORD>(NTE_NO_KEY)) throw CryptFailure("opening your keys", ulError);
    return KeyPair();
}

KeyPair UserKeys::Make(const KeyKind& kind, unsigned uBits)
{
    HCRYPTKEY hKey = 0;
    if (CryptGenKey(mhProvider, kind.ulKeySpec, uBits << 16 | CRYPT_EXPORTABLE, &hKey)) return KeyPair(hKey);
    const DWORD ulError = GetLastError();
    const std::string sWhat = Format("making the %s pair of %u bits", kind.pName, uBits);
    if (ulError != static_cast<DWORD>(NTE_BAD_DATA) && ulError != static_cast<DWORD>(NTE_BAD_FLAGS))
        throw CryptFailure(sWhat, ulError);
    throw Stop(kFailure, sWhat + " failed: this system's cryptography does not do that many (see --bits)");
}

KeyPair UserKeys::Import(Secret& blob)
{
    HCRYPTKEY hKey = 0;
    if (CryptImportKey(mhProvider, blob.Bytes(), static_cast<DWORD>(blob.Size()), 0, CRYPT_EXPORTABLE, &hKey)) return KeyPair(hKey);
    const DWORD ulError = GetLastError();
    if (ulError != static_cast<DWORD>(NTE_BAD_DATA)) throw CryptFailure("importing the pair", ulError);
    throw Stop(kFailure,
               "importing the pair failed: the file is damaged, or the pair has more bits than this system's cryptography takes");
}

void UserKeys::Remove()
{
    HCRYPTPROV hNone = 0;
    if (CryptAcquireContextA(&hNone, nullptr, MS_DEF_PROV_A, PROV_RSA_FULL, CRYPT_DELETEKEYSET)) return;
    const DWORD ulError = GetLastError();
    if (ulError == static_cast<DWORD>(NTE_BAD_KEYSET)) throw Stop(kAnswerIsNo, "there are no keys to remove");
    throw CryptFailure("removing your keys", ulError);
}

const KeyKind& KindOfBlob(const std::string& sPath, const Secret& blob)
{
    BLOBHEADER header{};
    if (blob.Size() < sizeof header)
        throw Stop(kFailure, sPath + " is no key pair: it has " + std::to_string(blob.Size()) + " bytes");
    std::memcpy(&header, blob.View().data(), sizeof header);
    if (header.bType == PUBLICKEYBLOB) throw Stop(kFailure, sPath + " has the public part of a pair alone");
    const auto* pKind = std::ranges::find(kKeyKinds, header.aiKeyAlg, &KeyKind::uAlgorithm);
    if (header.bType != PRIVATEKEYBLOB || header.bVersion != CUR_BLOB_VERSION || pKind == std::end(kKeyKinds))
        throw Stop(kFailure, sPath + " is no key pair");
    return *pKind;
}
} // namespace tool
