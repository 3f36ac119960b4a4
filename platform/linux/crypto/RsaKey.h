// RSA keys: to and from blobs, and what is done with them. Internal to platform/linux.
#pragma once

#include "CryptLibrary.h"
#include "KeyBlob.h"

#include <openssl/evp.h>

#include <memory>
#include <span>

namespace lum
{
// A key of either kind. Copies share it; any thread. Errors are codes, 0 for done.
class RsaKey
{
public:
    RsaKey() = default;

    // NTE_BAD_DATA: the numbers are not those of a key. Whether the primes are primes is taken on trust.
    static DWORD FromBlob(const KeyBlob& blob, RsaKey& key);
    static DWORD Generate(DWORD ulBits, RsaKey& key);

    explicit operator bool() const { return mpKey != nullptr; }
    bool IsPrivate() const { return mbPrivate; }
    DWORD Bits() const { return mulBits; }
    DWORD Bytes() const { return mulBits / 8; }

    DWORD ToBlob(BYTE ubType, ALG_ID ulAlgorithm, SecretBytes& bytes) const; // NTE_BAD_KEY_STATE: no private part

    // With the least significant byte first. Signatures are over an MD5.
    DWORD Wrap(std::span<const BYTE> secret, SecretBytes& wrapped) const;
    DWORD Unwrap(std::span<const BYTE> wrapped, SecretBytes& secret) const; // NTE_BAD_DATA: not wrapped for this key
    DWORD Sign(std::span<const BYTE> hash, std::span<BYTE> signature) const; // as many bytes as the key has
    DWORD Verify(std::span<const BYTE> hash, std::span<const BYTE> signature) const;

private:
    DWORD Adopt(EVP_PKEY* pKey, bool bPrivate);

    std::shared_ptr<EVP_PKEY> mpKey;
    DWORD mulBits = 0;
    bool mbPrivate = false;
};
} // namespace lum
