#include "NamedEvent.h"

#include "Errno.h"

#include <new>

namespace lum
{
namespace
{
constexpr ULONG kulSlotsAtOnce = 32; // the file grows by these
}

// The slots follow the state. With the queue locked when the slot is a new one.
EventSlot* NamedEvent::SlotAt(ULONG ulSlot)
{
    auto& state = *reinterpret_cast<EventState*>(mFile.State());
    if (ulSlot >= NamedEventKind::kulMostSlots) return nullptr;
    if (ulSlot >= state.ulRoom.load(std::memory_order_relaxed))
    {
        const ULONG ulRoom = ulSlot / kulSlotsAtOnce * kulSlotsAtOnce + kulSlotsAtOnce;
        if (!mFile.Grow(sizeof(EventState) + ulRoom * sizeof(EventSlot))) return nullptr;
        state.ulRoom.store(ulRoom, std::memory_order_relaxed);
    }
    return reinterpret_cast<EventSlot*>(mFile.State() + sizeof(EventState)) + ulSlot;
}

KernelObject* NamedEventKind::Make(NamedFile&& file, bool bNew) const
{
    auto& state = *reinterpret_cast<EventState*>(file.State());
    if (bNew) InitEventState(state, mbManual, mbSignalled, true);
    const SIZE_T ulInFile = (file.StateBytes() - sizeof(EventState)) / sizeof(EventSlot);
    if (state.ulRoom > ulInFile || state.ulSlots > state.ulRoom) return Fail(ERROR_FILE_CORRUPT), nullptr;

    KernelObject* pEvent = new (std::nothrow) NamedEvent(std::move(file));
    if (!pEvent) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return pEvent;
}
} // namespace lum
