#include "ClassName.h"

#include <cxxabi.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace
{
// Kept to the end of the process. The compiler's spelling is copied: the module that it stands in may go.
struct OKnownClass
{
    OKnownClass* pNext;
    const char* pName;
    char acSpelling[1];
};

constexpr std::size_t kulHeads = 256;
constinit std::atomic<OKnownClass*> gapHeads[kulHeads];

const char* Find(const OKnownClass* pClass, const char* pSpelling)
{
    for (; pClass; pClass = pClass->pNext)
        if (std::strcmp(pClass->acSpelling, pSpelling) == 0) return pClass->pName;
    return nullptr;
}
} // namespace

const char* ClassName(const std::type_info& type)
{
    const char* pSpelling = type.name();
    std::atomic<OKnownClass*>& pHead = gapHeads[reinterpret_cast<std::uintptr_t>(pSpelling) / 8 % kulHeads];
    OKnownClass* pFirst = pHead.load(std::memory_order_acquire);
    if (const char* pName = Find(pFirst, pSpelling)) return pName;

    int iStatus = 0;
    char* pName = abi::__cxa_demangle(pSpelling, nullptr, nullptr, &iStatus);
    const std::size_t ulSpelling = std::strlen(pSpelling) + 1;
    auto* pClass = static_cast<OKnownClass*>(std::malloc(sizeof(OKnownClass) + ulSpelling));
    if (!pName || !pClass)
    {
        std::free(pName);
        std::free(pClass);
        return pSpelling;
    }
    new (pClass) OKnownClass{pFirst, pName, {}};
    std::memcpy(pClass->acSpelling, pSpelling, ulSpelling);
    // Two threads may add the same class; the one that is found first serves from then on.
    while (!pHead.compare_exchange_weak(pClass->pNext, pClass, std::memory_order_release, std::memory_order_relaxed)) {}
    return pName;
}
