#include "KeyBlob.h"

#include <cstring>

namespace lum
{
namespace
{
bool IsRsa(ALG_ID ulAlgorithm) { return ulAlgorithm == CALG_RSA_KEYX || ulAlgorithm == CALG_RSA_SIGN; }
bool IsKnown(ALG_ID ulAlgorithm) { return IsRsa(ulAlgorithm) || ulAlgorithm == CALG_RC4 || ulAlgorithm == CALG_MD5; }

template <class T>
bool Take(std::span<const BYTE>& rest, T& record)
{
    if (rest.size() < sizeof record) return false;
    std::memcpy(&record, rest.data(), sizeof record);
    rest = rest.subspan(sizeof record);
    return true;
}

template <class T>
void Put(SecretBytes& bytes, const T& record)
{
    const auto* pRecord = reinterpret_cast<const BYTE*>(&record);
    bytes.insert(bytes.end(), pRecord, pRecord + sizeof record);
}

DWORD ParseRsa(std::span<const BYTE> rest, KeyBlob& blob)
{
    const bool bPrivate = blob.ubType == PRIVATEKEYBLOB;
    RSAPUBKEY head{};
    if (!Take(rest, head) || head.magic != (bPrivate ? kulPrivateMagic : kulPublicMagic)) return NTE_BAD_DATA;
    if (!IsPairBits(head.bitlen)) return NTE_BAD_DATA;
    if (rest.size() != RsaBlobBytes(head.bitlen, bPrivate) - sizeof(BLOBHEADER) - sizeof head) return NTE_BAD_DATA;

    blob.ulBits = head.bitlen;
    blob.ulExponent = head.pubexp;
    for (int i = 0; !rest.empty(); ++i)
    {
        const std::size_t ulBytes = RsaPartBytes(static_cast<RsaPart>(i), head.bitlen);
        blob.aParts[i] = rest.first(ulBytes);
        rest = rest.subspan(ulBytes);
    }
    return NO_ERROR;
}

DWORD ParseSimple(std::span<const BYTE> rest, KeyBlob& blob)
{
    ALG_ID ulWrappedWith = 0;
    if (!Take(rest, ulWrappedWith)) return NTE_BAD_DATA;
    if (ulWrappedWith != CALG_RSA_KEYX) return NTE_BAD_ALGID;
    blob.wrapped = rest;
    return NO_ERROR;
}
} // namespace

DWORD ParseKeyBlob(std::span<const BYTE> bytes, KeyBlob& blob)
{
    BLOBHEADER header{};
    if (!Take(bytes, header) || header.bVersion != CUR_BLOB_VERSION || header.reserved != 0) return NTE_BAD_DATA;
    blob.ubType = header.bType;
    blob.ulAlgorithm = header.aiKeyAlg;

    const bool bRsa = header.bType == PUBLICKEYBLOB || header.bType == PRIVATEKEYBLOB;
    if (!bRsa && header.bType != SIMPLEBLOB) return NTE_BAD_TYPE;
    if (!IsKnown(header.aiKeyAlg)) return NTE_BAD_ALGID;
    if (bRsa != IsRsa(header.aiKeyAlg) || header.aiKeyAlg == CALG_MD5) return NTE_BAD_DATA;
    return bRsa ? ParseRsa(bytes, blob) : ParseSimple(bytes, blob);
}

SecretBytes RsaBlobHead(BYTE ubType, ALG_ID ulAlgorithm, DWORD ulBits, DWORD ulExponent)
{
    const bool bPrivate = ubType == PRIVATEKEYBLOB;
    SecretBytes bytes;
    bytes.reserve(RsaBlobBytes(ulBits, bPrivate));
    Put(bytes, BLOBHEADER{ubType, CUR_BLOB_VERSION, 0, ulAlgorithm});
    Put(bytes, RSAPUBKEY{bPrivate ? kulPrivateMagic : kulPublicMagic, ulBits, ulExponent});
    return bytes;
}

SecretBytes SimpleBlob(ALG_ID ulAlgorithm, std::span<const BYTE> wrapped)
{
    SecretBytes bytes;
    bytes.reserve(kulSimpleHead + wrapped.size());
    Put(bytes, BLOBHEADER{SIMPLEBLOB, CUR_BLOB_VERSION, 0, ulAlgorithm});
    Put(bytes, static_cast<ALG_ID>(CALG_RSA_KEYX));
    bytes.insert(bytes.end(), wrapped.begin(), wrapped.end());
    return bytes;
}
} // namespace lum
