// The key pairs of the user's own container, by the names of the system's cryptography.
#pragma once

#include "Console.h"
#include "Secret.h"

#include <string>
#include <string_view>
#include <utility>

namespace tool
{
struct KeyKind
{
    const char* pName;
    DWORD ulKeySpec;
    ALG_ID uAlgorithm;
};
inline constexpr KeyKind kKeyKinds[] = {
    {"exchange", AT_KEYEXCHANGE, CALG_RSA_KEYX},
    {"signature", AT_SIGNATURE, CALG_RSA_SIGN},
};

// What a failure of cryptography comes from and what to do about it; the system's words where there is nothing to add.
std::string CryptReason(DWORD ulError);
Stop CryptFailure(const std::string& sWhat, DWORD ulError);

// One pair, or none. Ends before the UserKeys that it is of.
class KeyPair
{
public:
    explicit KeyPair(HCRYPTKEY hKey = 0) : mhKey(hKey) {}
    ~KeyPair()
    {
        if (mhKey) CryptDestroyKey(mhKey);
    }
    KeyPair(KeyPair&& other) noexcept : mhKey(std::exchange(other.mhKey, 0)) {}
    KeyPair& operator=(KeyPair&&) = delete;

    explicit operator bool() const { return mhKey != 0; }
    unsigned Bits() const;
    Secret Blob(DWORD ulBlobType) const; // PUBLICKEYBLOB, PRIVATEKEYBLOB; throws Stop
    std::string Fingerprint() const;     // MD5 of the public part: the same on every system that has the pair

private:
    HCRYPTKEY mhKey;
};

// All throw Stop.
class UserKeys
{
public:
    enum class Missing
    {
        Stays,
        IsMade
    };
    explicit UserKeys(Missing eMissing); // whether a container that is missing is made
    ~UserKeys();
    UserKeys(const UserKeys&) = delete;
    UserKeys& operator=(const UserKeys&) = delete;

    bool Exist() const { return mhProvider != 0; }
    KeyPair Find(const KeyKind& kind) const;
    KeyPair Make(const KeyKind& kind, unsigned uBits); // takes the place of the one that was there
    KeyPair Import(Secret& blob);                      // the same

    static void Remove(); // the container with both pairs
private:
    HCRYPTPROV mhProvider = 0;
};

// The kind of pair in the bytes of a PRIVATEKEYBLOB; throws Stop that says what else the file is.
const KeyKind& KindOfBlob(const std::string& sPath, const Secret& blob);
} // namespace tool
