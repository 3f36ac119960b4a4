// Key blobs: the layout alone. Every byte of a blob may be anything. Internal to platform/linux.
#pragma once

#include "Crypt.h"
#include "Secret.h"

#include <span>

namespace lum
{
constexpr DWORD kulPublicMagic = 0x31415352;  // "RSA1"
constexpr DWORD kulPrivateMagic = 0x32415352; // "RSA2"
constexpr DWORD kulLeastBits = 512, kulMostBits = 4096;

constexpr bool IsPairBits(DWORD ulBits) { return ulBits >= kulLeastBits && ulBits <= kulMostBits && ulBits % 8 == 0; }

// The numbers behind the RSAPUBKEY, in the order of the blob.
enum RsaPart { Modulus, Prime1, Prime2, Exponent1, Exponent2, Coefficient, PrivateExponent, RsaParts };

// How many bytes a part has in a key of so many bits.
constexpr std::size_t RsaPartBytes(RsaPart ePart, DWORD ulBits)
{
    const std::size_t ulWhole = ulBits / 8;
    return ePart == Modulus || ePart == PrivateExponent ? ulWhole : (ulWhole + 1) / 2;
}

constexpr std::size_t RsaBlobBytes(DWORD ulBits, bool bPrivate)
{
    std::size_t ulBytes = sizeof(BLOBHEADER) + sizeof(RSAPUBKEY);
    for (int i = 0; i < (bPrivate ? RsaParts : Modulus + 1); ++i) ulBytes += RsaPartBytes(static_cast<RsaPart>(i), ulBits);
    return ulBytes;
}
static_assert(RsaBlobBytes(1024, false) == 148 && RsaBlobBytes(1024, true) == 596);

constexpr std::size_t kulSimpleHead = sizeof(BLOBHEADER) + sizeof(ALG_ID);

// A blob taken apart; the spans lie in it.
struct KeyBlob
{
    BYTE ubType = 0;
    ALG_ID ulAlgorithm = 0;

    DWORD ulBits = 0; // PUBLICKEYBLOB, PRIVATEKEYBLOB
    DWORD ulExponent = 0;
    std::span<const BYTE> aParts[RsaParts]; // a public key has the modulus alone

    std::span<const BYTE> wrapped; // SIMPLEBLOB
};

// ParseKeyBlob: 0, NTE_BAD_DATA, NTE_BAD_TYPE or NTE_BAD_ALGID. Whether the numbers make a key is not looked at.
DWORD ParseKeyBlob(std::span<const BYTE> bytes, KeyBlob& blob);

// The head of an RSA key's blob, for the parts to follow.
SecretBytes RsaBlobHead(BYTE ubType, ALG_ID ulAlgorithm, DWORD ulBits, DWORD ulExponent);

SecretBytes SimpleBlob(ALG_ID ulAlgorithm, std::span<const BYTE> wrapped);
} // namespace lum
