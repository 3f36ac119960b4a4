#include "FewBlocks.h"

#include <cstdlib>
#include <new>
#include <utility>

static thread_local long glBlocks = kiAnyBlocks;
static thread_local const std::function<void()>* gpCall = nullptr;

void SetBlocks(long lBlocks) { glBlocks = lBlocks; }
void SetCall(const std::function<void()>* pCall) { gpCall = pCall; }

void* operator new(std::size_t ulBytes, const std::nothrow_t&) noexcept
{
    if (glBlocks == 0 && gpCall)
    {
        glBlocks = kiAnyBlocks;
        (*std::exchange(gpCall, nullptr))();
    }
    if (glBlocks == 0) return nullptr;
    if (glBlocks > 0) --glBlocks;
    return std::malloc(ulBytes > 0 ? ulBytes : 1);
}
void* operator new(std::size_t ulBytes)
{
    if (void* const pBlock = operator new(ulBytes, std::nothrow)) return pBlock;
    throw std::bad_alloc();
}
void operator delete(void* pBlock) noexcept { std::free(pBlock); }
void operator delete(void* pBlock, std::size_t) noexcept { std::free(pBlock); }
