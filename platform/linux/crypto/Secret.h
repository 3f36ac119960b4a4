// Bytes that are wiped when they are given back. Internal to platform/linux.
#pragma once

#include "../kernel/Types.h"

#include <openssl/crypto.h>

#include <memory>
#include <vector>

namespace lum
{
template <class T>
struct WipingAllocator
{
    using value_type = T;
    WipingAllocator() = default;
    template <class U> WipingAllocator(const WipingAllocator<U>&) {}

    T* allocate(std::size_t ulCount) { return std::allocator<T>().allocate(ulCount); }
    void deallocate(T* pBlock, std::size_t ulCount)
    {
        OPENSSL_cleanse(pBlock, ulCount * sizeof(T));
        std::allocator<T>().deallocate(pBlock, ulCount);
    }
    template <class U> bool operator==(const WipingAllocator<U>&) const { return true; }
};

using SecretBytes = std::vector<BYTE, WipingAllocator<BYTE>>;
} // namespace lum
