#include "CryptObjects.h"

#include "../registry/RegistryNames.h"

#include <algorithm>
#include <cstring>

namespace lum
{
namespace
{
constexpr std::size_t kulShortKey = 5, kulShortKeyWithZeros = 16;

EVP_MD_CTX* NewDigest()
{
    EVP_MD_CTX* pDigest = EVP_MD_CTX_new();
    if (pDigest && EVP_DigestInit_ex2(pDigest, TheCryptLibrary().pMd5, nullptr) == 1) return pDigest;
    EVP_MD_CTX_free(pDigest);
    return nullptr;
}

EVP_CIPHER_CTX* NewCipher()
{
    EVP_CIPHER_CTX* pCipher = EVP_CIPHER_CTX_new();
    if (pCipher && EVP_EncryptInit_ex2(pCipher, TheCryptLibrary().pRc4, nullptr, nullptr, nullptr) == 1) return pCipher;
    EVP_CIPHER_CTX_free(pCipher);
    return nullptr;
}

// A key of 40 bits is followed by eleven zero bytes, a longer one by nothing. Takes no memory.
bool SetKey(EVP_CIPHER_CTX* pCipher, std::span<const BYTE> key)
{
    BYTE aubPadded[kulShortKeyWithZeros] = {};
    if (key.size() == kulShortKey)
    {
        std::ranges::copy(key, aubPadded);
        key = aubPadded;
    }
    const bool bDone = EVP_CIPHER_CTX_set_key_length(pCipher, static_cast<int>(key.size())) == 1 &&
                       EVP_EncryptInit_ex2(pCipher, nullptr, key.data(), nullptr, nullptr) == 1;
    OPENSSL_cleanse(aubPadded, sizeof aubPadded);
    return bDone;
}
} // namespace

CryptHash::CryptHash(ObjectRef context) : KernelObject(keKind), mContext(std::move(context)), mpDigest(NewDigest()) {}

CryptHash::~CryptHash()
{
    EVP_MD_CTX_free(mpDigest);
    OPENSSL_cleanse(maubValue, sizeof maubValue);
}

DWORD CryptHash::AddLocked(std::span<const BYTE> bytes)
{
    if (mbFinished) return NTE_BAD_HASH_STATE;
    return EVP_DigestUpdate(mpDigest, bytes.data(), bytes.size()) == 1 ? NO_ERROR : NTE_FAIL;
}

DWORD CryptHash::Add(std::span<const BYTE> bytes)
{
    const std::scoped_lock lock(mMutex);
    return AddLocked(bytes);
}

DWORD CryptHash::Finish(LPCSTR pDescription, std::span<const BYTE>& value)
{
    const std::u16string sUnits = UnitsOf(pDescription);
    const std::scoped_lock lock(mMutex);
    if (!sUnits.empty())
    {
        const DWORD ulError = AddLocked({reinterpret_cast<const BYTE*>(sUnits.data()), sUnits.size() * sizeof(char16_t)});
        if (ulError) return ulError;
    }
    if (!mbFinished)
    {
        if (EVP_DigestFinal_ex(mpDigest, maubValue, nullptr) != 1) return NTE_FAIL;
        mbFinished = true;
    }
    value = maubValue; // stays as it is from now on
    return NO_ERROR;
}

CryptKey::CryptKey(SecretBytes secret, bool bExportable)
    : KernelObject(keKind), mulAlgorithm(CALG_RC4), mbExportable(bExportable), mSecret(std::move(secret)), mpCipher(NewCipher())
{
}

CryptKey::CryptKey(const UserPair& pair, ALG_ID ulAlgorithm)
    : KernelObject(keKind), mulAlgorithm(ulAlgorithm), mbExportable(pair.bExportable), mRsa(pair.key)
{
}

CryptKey::~CryptKey() { EVP_CIPHER_CTX_free(mpCipher); }

DWORD CryptKey::Apply(std::span<BYTE> data, bool bFinal, CryptHash* pHash, bool bHashFirst)
{
    const std::scoped_lock lock(mMutex);
    if (mbFresh && !SetKey(mpCipher, mSecret)) return NTE_FAIL;
    mbFresh = bFinal;
    if (pHash && bHashFirst)
    {
        const DWORD ulError = pHash->Add(data);
        if (ulError) return ulError;
    }
    constexpr std::size_t kulStep = 1 << 30; // the cipher counts in int
    for (std::span<BYTE> rest = data; !rest.empty();)
    {
        const std::span<BYTE> step = rest.first(std::min(rest.size(), kulStep));
        int iDone = 0;
        if (EVP_EncryptUpdate(mpCipher, step.data(), &iDone, step.data(), static_cast<int>(step.size())) != 1) return NTE_FAIL;
        rest = rest.subspan(step.size());
    }
    return pHash && !bHashFirst ? pHash->Add(data) : NO_ERROR;
}

DWORD PublishKey(CryptKey* pKey, HCRYPTKEY* phKey)
{
    if (pKey->IsReady()) return Publish(pKey, phKey);
    pKey->Release();
    return NTE_NO_MEMORY;
}

bool WantsBytes(std::size_t ulBytes, const BYTE* pData, DWORD* pulBytes, DWORD& ulError)
{
    const bool bRoom = *pulBytes >= ulBytes;
    *pulBytes = static_cast<DWORD>(ulBytes);
    ulError = pData && !bRoom ? ERROR_MORE_DATA : NO_ERROR;
    return pData && bRoom;
}

DWORD GiveBytes(std::span<const BYTE> bytes, BYTE* pData, DWORD* pulBytes)
{
    DWORD ulError = NO_ERROR;
    if (WantsBytes(bytes.size(), pData, pulBytes, ulError)) std::memcpy(pData, bytes.data(), bytes.size());
    return ulError;
}
} // namespace lum
