// The readers of key blobs and of key containers' files, given any bytes at all: what they take for a key comes out again byte
// for byte.
#include "linux/crypto/CryptLibrary.h"
#include "linux/crypto/KeyFile.h"
#include "linux/crypto/RsaKey.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace
{
using namespace lum;

const RsaKey& OurPair()
{
    static const RsaKey pair = [] {
        RsaKey made;
        if (OpenCryptLibrary() || RsaKey::Generate(512, made)) std::abort();
        return made;
    }();
    return pair;
}

void Check(bool bTrue)
{
    if (!bTrue) std::abort();
}

void ReadBlob(std::span<const BYTE> bytes)
{
    KeyBlob blob;
    if (ParseKeyBlob(bytes, blob)) return;
    SecretBytes secret, again;
    if (blob.ubType == SIMPLEBLOB)
    {
        Check(std::ranges::equal(SimpleBlob(blob.ulAlgorithm, blob.wrapped), bytes));
        OurPair().Unwrap(blob.wrapped, secret);
        return;
    }
    RsaKey key;
    if (RsaKey::FromBlob(blob, key)) return;
    Check(key.ToBlob(blob.ubType, blob.ulAlgorithm, again) == NO_ERROR && std::ranges::equal(again, bytes));

    // A key that we took must be of use, or fail, but in no other way.
    const BYTE aubSecret[5] = {1, 2, 3, 4, 5};
    SecretBytes wrapped;
    key.Wrap(aubSecret, wrapped);
    if (key.IsPrivate()) key.Unwrap(wrapped, secret);
}

// Nothing but the digest would keep the fuzzer out, so it comes from here.
void ReadKeyFile(std::span<const BYTE> bytes)
{
    SecretBytes whole(bytes.begin(), bytes.end());
    whole.resize(bytes.size() + kulDigest);
    EVP_Digest(bytes.data(), bytes.size(), whole.data() + bytes.size(), nullptr, TheCryptLibrary().pSha256, nullptr);

    StoredPairs pairs;
    if (ParseKeyFile(whole, pairs) == NO_ERROR) Check(KeyFileBytes(pairs) == whole);
    for (const StoredPair& pair : pairs.aPairs) ReadBlob(pair.blob);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t ulBytes)
{
    OurPair();
    const std::span<const BYTE> bytes(pBytes, ulBytes);
    const bool bKeyFile = ulBytes >= sizeof kacKeyFileMagic && std::memcmp(pBytes, kacKeyFileMagic, sizeof kacKeyFileMagic) == 0;
    if (bKeyFile) ReadKeyFile(bytes);
    else ReadBlob(bytes);
    return 0;
}
