// Interlocked counters: each is one atomic step with full ordering, and gives the value that Windows gives.
#pragma once

#include "Types.h"

inline LONG InterlockedIncrement(volatile LONG* pValue) { return __atomic_add_fetch(pValue, 1, __ATOMIC_SEQ_CST); }
inline LONG InterlockedDecrement(volatile LONG* pValue) { return __atomic_sub_fetch(pValue, 1, __ATOMIC_SEQ_CST); }

// The next two return the value from before.
inline LONG InterlockedExchange(volatile LONG* pValue, LONG lNew) { return __atomic_exchange_n(pValue, lNew, __ATOMIC_SEQ_CST); }
inline LONG InterlockedExchangeAdd(volatile LONG* pValue, LONG lAdd) { return __atomic_fetch_add(pValue, lAdd, __ATOMIC_SEQ_CST); }

// InterlockedCompareExchange: stores lNew where lExpected stands; returns what stood there.
inline LONG InterlockedCompareExchange(volatile LONG* pValue, LONG lNew, LONG lExpected)
{
    __atomic_compare_exchange_n(pValue, &lExpected, lNew, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    return lExpected;
}
