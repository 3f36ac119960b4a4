// Mutexes of the system that tell of an owner who ended. Internal to platform/linux.
//
// The kernel walks a thread's list of such mutexes when it ends, by SIGKILL too: it marks their lock words and wakes one who
// sleeps there. The words are the kernel's own format (owner's thread number, FUTEX_WAITERS, FUTEX_OWNER_DIED), so that a
// thread may sleep on several of them.
#pragma once

#include "Futex.h"

#include <linux/futex.h>
#include <pthread.h>

namespace lum
{
enum class MutexReach : unsigned char { Process, Machine };

// InitMutex: a mutex nobody owns. Machine: robust, and for every process that maps it.
inline void InitMutex(pthread_mutex_t& mutex, MutexReach eReach)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    if (eReach == MutexReach::Machine)
    {
        pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    }
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

// InitOwnedMutex: one that its owner may take again, robust in either case.
inline void InitOwnedMutex(pthread_mutex_t& mutex, MutexReach eReach)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    if (eReach == MutexReach::Machine) pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

inline FutexWord& LockWord(pthread_mutex_t& mutex) { return reinterpret_cast<FutexWord&>(mutex.__data.__lock); }
static_assert(sizeof(pthread_mutex_t) == 40 && offsetof(pthread_mutex_t, __data.__lock) == 0);

// The number of the thread that owns it, 0 for none.
inline ULONG OwnerIn(ULONG ulLockWord) { return ulLockWord & FUTEX_TID_MASK; }
} // namespace lum
