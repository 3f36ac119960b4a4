#include "Views.h"

#include "Errno.h"
#include "Mappings.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <map>
#include <new>

namespace
{
// A forked child finds the lock free and the map whole.
pthread_mutex_t gLock = PTHREAD_MUTEX_INITIALIZER;
[[maybe_unused]] const int giForkHandler =
    pthread_atfork([] { pthread_mutex_lock(&gLock); }, [] { pthread_mutex_unlock(&gLock); }, [] { pthread_mutex_unlock(&gLock); });

struct Guard
{
    Guard() { pthread_mutex_lock(&gLock); }
    ~Guard() { pthread_mutex_unlock(&gLock); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
};

using Views = std::map<ULONG_PTR, SIZE_T>; // start and length
Views& TheViews()
{
    static Views& views = *new Views; // never destroyed: views are unmapped to the very end
    return views;
}

// The view that an address lies in. With the lock.
Views::iterator ViewAt(ULONG_PTR ulAddress)
{
    auto it = TheViews().upper_bound(ulAddress);
    if (it == TheViews().begin()) return TheViews().end();
    --it;
    return ulAddress - it->first < it->second ? it : TheViews().end();
}
} // namespace

bool lum::AddView(void* pStart, SIZE_T ulBytes)
try
{
    const Guard guard;
    TheViews()[reinterpret_cast<ULONG_PTR>(pStart)] = ulBytes;
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

BOOL UnmapViewOfFile(LPCVOID pView)
{
    const Guard guard;
    const auto it = ViewAt(reinterpret_cast<ULONG_PTR>(pView));
    if (it == TheViews().end()) return lum::Fail(ERROR_INVALID_ADDRESS);
    munmap(reinterpret_cast<void*>(it->first), it->second);
    TheViews().erase(it);
    return TRUE;
}

BOOL FlushViewOfFile(LPCVOID pStart, SIZE_T ulBytes)
{
    const ULONG_PTR ulStart = reinterpret_cast<ULONG_PTR>(pStart);
    const Guard guard;
    const auto it = ViewAt(ulStart);
    if (it == TheViews().end()) return lum::Fail(ERROR_INVALID_PARAMETER);
    const SIZE_T ulLeft = it->first + it->second - ulStart;
    if (ulBytes > ulLeft) return lum::Fail(ERROR_INVALID_PARAMETER);

    const ULONG_PTR ulPage = ulStart & ~static_cast<ULONG_PTR>(sysconf(_SC_PAGESIZE) - 1);
    const SIZE_T ulWhole = ulStart - ulPage + (ulBytes ? ulBytes : ulLeft);
    return msync(reinterpret_cast<void*>(ulPage), ulWhole, MS_SYNC) == 0 ? TRUE : lum::FailErrno();
}
