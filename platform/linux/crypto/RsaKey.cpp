#include "RsaKey.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/param_build.h>
#include <openssl/params.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <bit>

namespace lum
{
namespace
{
struct Free
{
    void operator()(BIGNUM* p) const { BN_clear_free(p); }
    void operator()(BN_CTX* p) const { BN_CTX_free(p); }
    void operator()(OSSL_PARAM_BLD* p) const { OSSL_PARAM_BLD_free(p); }
    void operator()(OSSL_PARAM* p) const { OSSL_PARAM_free(p); }
    void operator()(EVP_PKEY_CTX* p) const { EVP_PKEY_CTX_free(p); }
};
template <class T> using Owned = std::unique_ptr<T, Free>;

constexpr const char* kapNames[RsaParts] = {
    OSSL_PKEY_PARAM_RSA_N,         OSSL_PKEY_PARAM_RSA_FACTOR1,      OSSL_PKEY_PARAM_RSA_FACTOR2, OSSL_PKEY_PARAM_RSA_EXPONENT1,
    OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1, OSSL_PKEY_PARAM_RSA_D,
};

// The numbers of a blob.
struct Numbers
{
    Owned<BIGNUM> aParts[RsaParts];
    Owned<BIGNUM> pExponent;

    const BIGNUM* operator[](RsaPart ePart) const { return aParts[ePart].get(); }
};

bool Read(const KeyBlob& blob, Numbers& numbers)
{
    for (int i = 0; i < RsaParts; ++i)
    {
        const std::span<const BYTE> part = blob.aParts[i];
        if (part.empty()) continue;
        numbers.aParts[i].reset(BN_secure_new());
        if (!numbers.aParts[i] || !BN_lebin2bn(part.data(), static_cast<int>(part.size()), numbers.aParts[i].get())) return false;
    }
    numbers.pExponent.reset(BN_new());
    return numbers.pExponent && BN_set_word(numbers.pExponent.get(), blob.ulExponent);
}

bool IsPublicKey(const KeyBlob& blob, const Numbers& numbers)
{
    if (!BN_is_odd(numbers[Modulus]) || static_cast<DWORD>(BN_num_bits(numbers[Modulus])) != blob.ulBits) return false;
    return blob.ulExponent >= 3 && blob.ulExponent % 2 == 1;
}

// left * right == 1 modulo (modulus - ulLess)
bool AreInverse(const BIGNUM* pLeft, const BIGNUM* pRight, const BIGNUM* pModulus, BN_ULONG ulLess, BN_CTX* pScratch)
{
    const Owned<BIGNUM> pBase(BN_dup(pModulus)), pProduct(BN_secure_new());
    if (!pBase || !pProduct || !BN_sub_word(pBase.get(), ulLess)) return false;
    BN_set_flags(pBase.get(), BN_FLG_CONSTTIME);
    return BN_mod_mul(pProduct.get(), pLeft, pRight, pBase.get(), pScratch) && BN_is_one(pProduct.get());
}

bool IsPrime(const BIGNUM* pPrime) { return BN_is_odd(pPrime) && BN_num_bits(pPrime) > 1; } // as far as we look

// Whether the parts belong together; a pair with a damaged one would sign wrongly, and give itself away.
bool IsPair(const Numbers& numbers)
{
    if (!IsPrime(numbers[Prime1]) || !IsPrime(numbers[Prime2])) return false;
    const Owned<BN_CTX> pScratch(BN_CTX_secure_new());
    const Owned<BIGNUM> pProduct(BN_secure_new());
    if (!pScratch || !pProduct || !BN_mul(pProduct.get(), numbers[Prime1], numbers[Prime2], pScratch.get())) return false;
    if (BN_cmp(pProduct.get(), numbers[Modulus]) != 0) return false;

    const BIGNUM* pExponent = numbers.pExponent.get();
    return AreInverse(numbers[Exponent1], pExponent, numbers[Prime1], 1, pScratch.get()) &&
           AreInverse(numbers[Exponent2], pExponent, numbers[Prime2], 1, pScratch.get()) &&
           AreInverse(numbers[PrivateExponent], pExponent, numbers[Prime1], 1, pScratch.get()) &&
           AreInverse(numbers[PrivateExponent], pExponent, numbers[Prime2], 1, pScratch.get()) &&
           AreInverse(numbers[Coefficient], numbers[Prime2], numbers[Prime1], 0, pScratch.get());
}

EVP_PKEY* MakeKey(const Numbers& numbers, bool bPrivate)
{
    const Owned<OSSL_PARAM_BLD> pBuilder(OSSL_PARAM_BLD_new());
    if (!pBuilder || !OSSL_PARAM_BLD_push_BN(pBuilder.get(), OSSL_PKEY_PARAM_RSA_E, numbers.pExponent.get())) return nullptr;
    for (int i = 0; i < (bPrivate ? RsaParts : Modulus + 1); ++i)
        if (!OSSL_PARAM_BLD_push_BN(pBuilder.get(), kapNames[i], numbers.aParts[i].get())) return nullptr;
    const Owned<OSSL_PARAM> pParameters(OSSL_PARAM_BLD_to_param(pBuilder.get()));
    const Owned<EVP_PKEY_CTX> pMaker(EVP_PKEY_CTX_new_from_name(TheCryptLibrary().pContext, "RSA", nullptr));
    EVP_PKEY* pKey = nullptr;
    if (pParameters && pMaker && EVP_PKEY_fromdata_init(pMaker.get()) == 1)
        EVP_PKEY_fromdata(pMaker.get(), &pKey, bPrivate ? EVP_PKEY_KEYPAIR : EVP_PKEY_PUBLIC_KEY, pParameters.get());
    return pKey;
}

// A number of a key, straight to its place.
bool GetNumber(EVP_PKEY* pKey, const char* pName, std::span<BYTE> bytes)
{
    static_assert(std::endian::native == std::endian::little); // numbers are given in the processor's order
    OSSL_PARAM aWanted[] = {OSSL_PARAM_construct_BN(pName, bytes.data(), bytes.size()), OSSL_PARAM_construct_end()};
    return EVP_PKEY_get_params(pKey, aWanted) == 1 && OSSL_PARAM_modified(aWanted) && aWanted[0].return_size == bytes.size();
}

Owned<EVP_PKEY_CTX> Use(EVP_PKEY* pKey)
{
    return Owned<EVP_PKEY_CTX>(EVP_PKEY_CTX_new_from_pkey(TheCryptLibrary().pContext, pKey, nullptr));
}

bool ForMd5Signature(EVP_PKEY_CTX* pUse)
{
    return EVP_PKEY_CTX_set_rsa_padding(pUse, RSA_PKCS1_PADDING) == 1 &&
           EVP_PKEY_CTX_set_signature_md(pUse, TheCryptLibrary().pMd5) == 1;
}

// What PKCS #1 v1.5 put around a secret, most significant byte first: 0, 2, eight or more that are not zero, 0, the secret.
bool Unpad(std::span<const BYTE> padded, SecretBytes& secret)
{
    constexpr std::size_t kulLeastPadding = 8;
    if (padded.size() < 2 + kulLeastPadding + 1 || padded[0] != 0 || padded[1] != 2) return false;
    const auto end = std::find(padded.begin() + 2, padded.end(), BYTE{0});
    if (end == padded.end() || static_cast<std::size_t>(end - padded.begin()) < 2 + kulLeastPadding) return false;
    secret.assign(end + 1, padded.end());
    return true;
}
} // namespace

DWORD RsaKey::Adopt(EVP_PKEY* pKey, bool bPrivate)
{
    if (!pKey) return NTE_FAIL;
    mpKey.reset(pKey, EVP_PKEY_free);
    mulBits = static_cast<DWORD>(EVP_PKEY_get_bits(pKey));
    mbPrivate = bPrivate;
    return NO_ERROR;
}

DWORD RsaKey::FromBlob(const KeyBlob& blob, RsaKey& key)
{
    const CryptErrorMark mark;
    const bool bPrivate = blob.ubType == PRIVATEKEYBLOB;
    Numbers numbers;
    if (!Read(blob, numbers)) return NTE_NO_MEMORY;
    if (!IsPublicKey(blob, numbers) || (bPrivate && !IsPair(numbers))) return NTE_BAD_DATA;
    return key.Adopt(MakeKey(numbers, bPrivate), bPrivate);
}

DWORD RsaKey::Generate(DWORD ulBits, RsaKey& key)
{
    const CryptErrorMark mark;
    const Owned<EVP_PKEY_CTX> pMaker(EVP_PKEY_CTX_new_from_name(TheCryptLibrary().pContext, "RSA", nullptr));
    EVP_PKEY* pKey = nullptr;
    if (!pMaker || EVP_PKEY_keygen_init(pMaker.get()) != 1) return NTE_FAIL;
    if (EVP_PKEY_CTX_set_rsa_keygen_bits(pMaker.get(), static_cast<int>(ulBits)) != 1) return NTE_BAD_DATA;
    EVP_PKEY_generate(pMaker.get(), &pKey);
    return key.Adopt(pKey, true);
}

DWORD RsaKey::ToBlob(BYTE ubType, ALG_ID ulAlgorithm, SecretBytes& bytes) const
{
    const CryptErrorMark mark;
    const bool bPrivate = ubType == PRIVATEKEYBLOB;
    if (bPrivate && !mbPrivate) return NTE_BAD_KEY_STATE;

    DWORD ulExponent = 0;
    if (!GetNumber(mpKey.get(), OSSL_PKEY_PARAM_RSA_E, {reinterpret_cast<BYTE*>(&ulExponent), sizeof ulExponent})) return NTE_FAIL;
    bytes = RsaBlobHead(ubType, ulAlgorithm, mulBits, ulExponent);
    for (int i = 0; i < (bPrivate ? RsaParts : Modulus + 1); ++i)
    {
        const std::size_t ulPlace = bytes.size(), ulBytes = RsaPartBytes(static_cast<RsaPart>(i), mulBits);
        bytes.resize(ulPlace + ulBytes);
        if (!GetNumber(mpKey.get(), kapNames[i], {bytes.data() + ulPlace, ulBytes})) return NTE_FAIL;
    }
    return NO_ERROR;
}

DWORD RsaKey::Wrap(std::span<const BYTE> secret, SecretBytes& wrapped) const
{
    const CryptErrorMark mark;
    const Owned<EVP_PKEY_CTX> pUse = Use(mpKey.get());
    wrapped.resize(Bytes());
    std::size_t ulBytes = wrapped.size();
    if (!pUse || EVP_PKEY_encrypt_init(pUse.get()) != 1 || EVP_PKEY_CTX_set_rsa_padding(pUse.get(), RSA_PKCS1_PADDING) != 1 ||
        EVP_PKEY_encrypt(pUse.get(), wrapped.data(), &ulBytes, secret.data(), secret.size()) != 1 || ulBytes != wrapped.size())
        return NTE_FAIL;
    std::reverse(wrapped.begin(), wrapped.end());
    return NO_ERROR;
}

// The padding is ours to check: newer versions of OpenSSL answer a wrong one with random bytes, as if it were right.
DWORD RsaKey::Unwrap(std::span<const BYTE> wrapped, SecretBytes& secret) const
{
    const CryptErrorMark mark;
    if (!mbPrivate || wrapped.size() != Bytes()) return NTE_BAD_DATA;
    const Owned<EVP_PKEY_CTX> pUse = Use(mpKey.get());
    const SecretBytes turned(wrapped.rbegin(), wrapped.rend());
    SecretBytes padded(Bytes());
    std::size_t ulBytes = padded.size();
    if (!pUse || EVP_PKEY_decrypt_init(pUse.get()) != 1 || EVP_PKEY_CTX_set_rsa_padding(pUse.get(), RSA_NO_PADDING) != 1)
        return NTE_FAIL;
    const bool bDone = EVP_PKEY_decrypt(pUse.get(), padded.data(), &ulBytes, turned.data(), turned.size()) == 1;
    return bDone && ulBytes == padded.size() && Unpad(padded, secret) ? NO_ERROR : NTE_BAD_DATA;
}

DWORD RsaKey::Sign(std::span<const BYTE> hash, std::span<BYTE> signature) const
{
    const CryptErrorMark mark;
    const Owned<EVP_PKEY_CTX> pUse = Use(mpKey.get());
    std::size_t ulBytes = signature.size();
    if (!pUse || EVP_PKEY_sign_init(pUse.get()) != 1 || !ForMd5Signature(pUse.get()) ||
        EVP_PKEY_sign(pUse.get(), signature.data(), &ulBytes, hash.data(), hash.size()) != 1 || ulBytes != signature.size())
        return NTE_FAIL;
    std::reverse(signature.begin(), signature.end());
    return NO_ERROR;
}

DWORD RsaKey::Verify(std::span<const BYTE> hash, std::span<const BYTE> signature) const
{
    const CryptErrorMark mark;
    if (signature.size() != Bytes()) return NTE_BAD_SIGNATURE;
    const Owned<EVP_PKEY_CTX> pUse = Use(mpKey.get());
    const SecretBytes turned(signature.rbegin(), signature.rend());
    if (!pUse || EVP_PKEY_verify_init(pUse.get()) != 1 || !ForMd5Signature(pUse.get())) return NTE_FAIL;
    return EVP_PKEY_verify(pUse.get(), turned.data(), turned.size(), hash.data(), hash.size()) == 1 ? NO_ERROR : NTE_BAD_SIGNATURE;
}
} // namespace lum
