// What stands behind the handles of this facility. Internal to platform/linux.
#pragma once

#include "../kernel/HandleTable.h"
#include "KeyContainer.h"

#include <mutex>
#include <new>

namespace lum
{
class CryptContext : public KernelObject
{
public:
    static constexpr ObjectKind keKind = ObjectKind::CryptContext;
    explicit CryptContext(std::shared_ptr<KeyContainer> pContainer) : KernelObject(keKind), mpContainer(std::move(pContainer)) {}

    KeyContainer& Container() const { return *mpContainer; }
    std::atomic<ULONG>& NextAlgorithm() { return mulNextAlgorithm; }
    std::atomic<ULONG>& Uses() { return mulUses; } // of its handle

private:
    const std::shared_ptr<KeyContainer> mpContainer;
    std::atomic<ULONG> mulNextAlgorithm{0};
    std::atomic<ULONG> mulUses{1};
};

constexpr DWORD kulMd5Bytes = 16;

class CryptHash : public KernelObject
{
public:
    static constexpr ObjectKind keKind = ObjectKind::CryptHash;
    explicit CryptHash(ObjectRef context);
    ~CryptHash() override;

    CryptContext& Context() const { return *mContext.As<CryptContext>(); }
    bool IsReady() const { return mpDigest != nullptr; } // false: memory ran out

    DWORD Add(std::span<const BYTE> bytes); // NTE_BAD_HASH_STATE
    // The value, after the units of a description. Finishes the hash.
    DWORD Finish(LPCSTR pDescription, std::span<const BYTE>& value);

private:
    DWORD AddLocked(std::span<const BYTE> bytes);

    const ObjectRef mContext;
    std::mutex mMutex;
    EVP_MD_CTX* mpDigest;
    bool mbFinished = false;
    BYTE maubValue[kulMd5Bytes] = {};
};

class CryptKey : public KernelObject
{
public:
    static constexpr ObjectKind keKind = ObjectKind::CryptKey;
    ~CryptKey() override;

    CryptKey(SecretBytes secret, bool bExportable); // a session key
    CryptKey(const UserPair& pair, ALG_ID ulAlgorithm);

    bool IsReady() const { return !IsSession() || mpCipher != nullptr; } // false: memory ran out
    bool IsSession() const { return mulAlgorithm == CALG_RC4; }
    bool IsExportable() const { return mbExportable; }
    ALG_ID Algorithm() const { return mulAlgorithm; }
    DWORD Bits() const { return IsSession() ? static_cast<DWORD>(mSecret.size() * 8) : mRsa.Bits(); }
    const SecretBytes& Secret() const { return mSecret; }
    const RsaKey& Rsa() const { return mRsa; }

    // The next bytes of the key's stream over the data, and of which the hash is told: before, or after.
    DWORD Apply(std::span<BYTE> data, bool bFinal, CryptHash* pHash, bool bHashFirst);

private:
    const ALG_ID mulAlgorithm;
    const bool mbExportable;
    const SecretBytes mSecret;
    const RsaKey mRsa;
    std::mutex mMutex;
    EVP_CIPHER_CTX* mpCipher = nullptr;
    bool mbFresh = true; // the stream begins anew
};

// The values of these handles stand one above those of the table, so that CloseHandle and its like do not take them.
inline HANDLE TableHandle(ULONG_PTR ulHandle) { return (ulHandle & 3) == 1 ? reinterpret_cast<HANDLE>(ulHandle - 1) : nullptr; }

// One counted use of an object; empty when the handle is none of its kind.
template <class T>
class CryptRef
{
public:
    explicit CryptRef(ULONG_PTR ulHandle) : mRef(LookUpHandle(TableHandle(ulHandle), T::keKind)) {}
    explicit operator bool() const { return static_cast<bool>(mRef); }
    T* operator->() const { return mRef.As<T>(); }
    T& operator*() const { return *mRef.As<T>(); }
    ObjectRef TakeRef() { return std::move(mRef); }

private:
    ObjectRef mRef;
};

// Publish: a handle for a new object; the caller's reference goes with it.
inline DWORD Publish(KernelObject* pObject, ULONG_PTR* pulHandle)
{
    const HANDLE hObject = InsertHandle(pObject, 0);
    if (!hObject) return ERROR_TOO_MANY_OPEN_FILES;
    *pulHandle = reinterpret_cast<ULONG_PTR>(hObject) + 1;
    return NO_ERROR;
}

template <class T>
DWORD Retire(ULONG_PTR ulHandle)
{
    return CryptRef<T>(ulHandle) && RemoveHandle(TableHandle(ulHandle)) ? NO_ERROR : ERROR_INVALID_PARAMETER;
}

DWORD PublishKey(CryptKey* pKey, HCRYPTKEY* phKey); // NTE_NO_MEMORY when the key is not ready

// Answer: the outcome of a call whose body gives an error code, 0 for done.
template <class Body>
BOOL Answer(Body body)
{
    DWORD ulError;
    try
    {
        ulError = body();
    }
    catch (const std::bad_alloc&)
    {
        ulError = NTE_NO_MEMORY;
    }
    if (ulError == NO_ERROR) return TRUE;
    SetLastError(ulError);
    return FALSE;
}

template <class T>
std::span<const BYTE> BytesOf(const T& record)
{
    return {reinterpret_cast<const BYTE*>(&record), sizeof record};
}

// Calls that give bytes: WantsBytes is whether the caller asks for more than their number and has the room; in any case it sets
//   *pulBytes to the number, and ulError. GiveBytes does what follows from it.
bool WantsBytes(std::size_t ulBytes, const BYTE* pData, DWORD* pulBytes, DWORD& ulError);
DWORD GiveBytes(std::span<const BYTE> bytes, BYTE* pData, DWORD* pulBytes);
} // namespace lum
