// Critical sections: recursive locks between the threads of one process.
#pragma once

#include "Types.h"

// A lock and its owner. Not owned by anybody when all its bytes are zero, so a static one is ready before main.
struct CRITICAL_SECTION
{
    ULONG_PTR ulOwner = 0; // 0 free; otherwise the owning thread, with bit 0 when others may be waiting
    LONG lAgain = 0;       // how often the owner has entered beyond the first time
};
using LPCRITICAL_SECTION = CRITICAL_SECTION*;

// InitializeCriticalSection: makes a section that nobody owns. Cannot fail.
void InitializeCriticalSection(LPCRITICAL_SECTION pSection);

// EnterCriticalSection: waits until the calling thread owns the section; an owner may enter again.
void EnterCriticalSection(LPCRITICAL_SECTION pSection);

// TryEnterCriticalSection: enters without waiting; FALSE when another thread owns the section.
BOOL TryEnterCriticalSection(LPCRITICAL_SECTION pSection);

// LeaveCriticalSection: undoes one Enter; the last one frees the section. Only for the owner.
void LeaveCriticalSection(LPCRITICAL_SECTION pSection);

// DeleteCriticalSection: ends a section that nobody owns; it may be initialised anew afterwards.
void DeleteCriticalSection(LPCRITICAL_SECTION pSection);
