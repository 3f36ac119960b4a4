#include "Events.h"

#include "NamedEvent.h"
#include "NamedHandles.h"

#include <new>

namespace
{
constexpr lum::RightsRow kRights = {0x00020001, 0x00020002, 0x00120000, EVENT_ALL_ACCESS};

template <class Text>
HANDLE Create(bool bManual, bool bSignalled, Text pName)
{
    if (pName && *pName) return lum::CreateNamed(pName, lum::NamedEventKind(bManual, bSignalled), EVENT_ALL_ACCESS);
    auto* pEvent = new (std::nothrow) lum::EventObject(bManual, bSignalled);
    if (!pEvent) return lum::Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    const HANDLE hEvent = lum::InsertHandle(pEvent, EVENT_ALL_ACCESS);
    SetLastError(hEvent ? NO_ERROR : ERROR_TOO_MANY_OPEN_FILES);
    return hEvent;
}

template <class Change>
BOOL Modify(HANDLE hEvent, Change change)
{
    DWORD ulAccess = 0;
    const lum::ObjectRef ref = lum::LookUpHandle(hEvent, lum::ObjectKind::Event, &ulAccess);
    if (!ref) return lum::Fail(ERROR_INVALID_HANDLE);
    if (!(ulAccess & EVENT_MODIFY_STATE)) return lum::Fail(ERROR_ACCESS_DENIED);
    change(*ref.As<lum::EventObject>());
    return TRUE;
}
} // namespace

HANDLE CreateEventA(LPSECURITY_ATTRIBUTES, BOOL bManualReset, BOOL bInitialState, LPCSTR pName)
{
    return Create(bManualReset, bInitialState, pName);
}

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL bManualReset, BOOL bInitialState, LPCWSTR pName)
{
    return Create(bManualReset, bInitialState, pName);
}

HANDLE OpenEventA(DWORD ulAccess, BOOL, LPCSTR pName)
{
    return lum::OpenExisting(pName, lum::NamedEventKind(false, false), lum::GenericRights(ulAccess, kRights));
}

HANDLE OpenEventW(DWORD ulAccess, BOOL, LPCWSTR pName)
{
    return lum::OpenExisting(pName, lum::NamedEventKind(false, false), lum::GenericRights(ulAccess, kRights));
}

BOOL SetEvent(HANDLE hEvent)
{
    return Modify(hEvent, [](lum::EventObject& event) { event.Set(); });
}

BOOL ResetEvent(HANDLE hEvent)
{
    return Modify(hEvent, [](lum::EventObject& event) { event.Reset(); });
}

BOOL PulseEvent(HANDLE hEvent)
{
    return Modify(hEvent, [](lum::EventObject& event) { event.Set(), event.Reset(); });
}
