#include "KeyFile.h"

#include "CryptLibrary.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace lum
{
namespace
{
std::array<BYTE, kulDigest> DigestOf(std::span<const BYTE> bytes)
{
    std::array<BYTE, kulDigest> digest{};
    EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, TheCryptLibrary().pSha256, nullptr);
    return digest;
}

bool IsOurs(const KeyFileHead& head)
{
    return std::equal(head.acMagic, std::end(head.acMagic), kacKeyFileMagic) && head.ulVersion == kulKeyFileVersion &&
           head.ulZero == 0;
}
} // namespace

DWORD ParseKeyFile(std::span<const BYTE> bytes, StoredPairs& pairs)
{
    KeyFileHead head{};
    if (bytes.size() < sizeof head + kulDigest) return NTE_KEYSET_ENTRY_BAD;
    std::memcpy(&head, bytes.data(), sizeof head);
    if (!IsOurs(head)) return NTE_KEYSET_ENTRY_BAD;

    const std::span<const BYTE> digest = bytes.last(kulDigest);
    bytes = bytes.first(bytes.size() - kulDigest);
    if (!std::ranges::equal(digest, DigestOf(bytes))) return NTE_KEYSET_ENTRY_BAD;

    bytes = bytes.subspan(sizeof head);
    for (int i = 0; i < kiPairs; ++i)
    {
        const KeyFilePair& entry = head.aPairs[i];
        if (entry.ulBytes > bytes.size() || entry.ulBytes > kulMostPairBytes || (entry.ulFlags & ~kulPairExportable))
            return NTE_KEYSET_ENTRY_BAD;
        pairs.aPairs[i].blob.assign(bytes.begin(), bytes.begin() + entry.ulBytes);
        pairs.aPairs[i].bExportable = (entry.ulFlags & kulPairExportable) != 0;
        bytes = bytes.subspan(entry.ulBytes);
    }
    return bytes.empty() ? NO_ERROR : NTE_KEYSET_ENTRY_BAD;
}

SecretBytes KeyFileBytes(const StoredPairs& pairs)
{
    KeyFileHead head{};
    std::memcpy(head.acMagic, kacKeyFileMagic, sizeof head.acMagic);
    head.ulVersion = kulKeyFileVersion;
    for (int i = 0; i < kiPairs; ++i)
    {
        const StoredPair& pair = pairs.aPairs[i];
        head.aPairs[i] = {pair.bExportable ? kulPairExportable : 0, static_cast<DWORD>(pair.blob.size())};
    }

    SecretBytes bytes;
    bytes.reserve(kulMostKeyFileBytes); // so that no smaller block with half of the keys is left behind
    const auto* pHead = reinterpret_cast<const BYTE*>(&head);
    bytes.assign(pHead, pHead + sizeof head);
    for (const StoredPair& pair : pairs.aPairs) bytes.insert(bytes.end(), pair.blob.begin(), pair.blob.end());
    const auto digest = DigestOf(bytes);
    bytes.insert(bytes.end(), digest.begin(), digest.end());
    return bytes;
}
} // namespace lum
