// What an operation of cryptography takes for a while, given back in the end.
#pragma once

#include "Platform.h"

#include <memory>
#include <new>
#include <utility>

template <BOOL (*Destroy)(ULONG_PTR)>
class OCryptHolder
{
public:
    explicit OCryptHolder(ULONG_PTR ulHandle = 0) : mulHandle(ulHandle) {}
    ~OCryptHolder() { if (mulHandle) Destroy(mulHandle); }
    OCryptHolder(const OCryptHolder&) = delete;
    OCryptHolder& operator=(const OCryptHolder&) = delete;

    operator ULONG_PTR() const { return mulHandle; }
    ULONG_PTR* Room() { return &mulHandle; } // for a call that gives a handle; there is none yet
    ULONG_PTR Drop() { return std::exchange(mulHandle, 0); }

private:
    ULONG_PTR mulHandle;
};
inline BOOL DestroyCryptKey(ULONG_PTR ulKey) { return CryptDestroyKey(ulKey); }
inline BOOL DestroyCryptHash(ULONG_PTR ulHash) { return CryptDestroyHash(ulHash); }
using OKeyHolder = OCryptHolder<DestroyCryptKey>;
using OHashHolder = OCryptHolder<DestroyCryptHash>;

// Bytes, and one more, that are wiped in the end. Nothing is thrown when there is no memory.
class OCryptBytes
{
public:
    OCryptBytes() = default;
    ~OCryptBytes() { if (mpBytes) SecureZeroMemory(mpBytes.get(), Bytes()); }
    OCryptBytes(const OCryptBytes&) = delete;
    OCryptBytes& operator=(const OCryptBytes&) = delete;

    bool Allocate(DWORD ulCount) // once
    {
        mulCount = ulCount;
        mpBytes.reset(new (std::nothrow) BYTE[Bytes()]);
        return mpBytes != nullptr;
    }
    BYTE* Data() const { return mpBytes.get(); }
    DWORD Count() const { return mulCount; }

private:
    std::size_t Bytes() const { return std::size_t{mulCount} + 1; }

    std::unique_ptr<BYTE[]> mpBytes;
    DWORD mulCount = 0;
};
