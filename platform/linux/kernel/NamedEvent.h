// Events in files. Internal to platform/linux.
#pragma once

#include "EventObject.h"
#include "NamedFile.h"

namespace lum
{
class NamedEvent : public EventObject
{
public:
    explicit NamedEvent(NamedFile&& file)
        : EventObject(*reinterpret_cast<EventState*>(file.State())), mFile(std::move(file))
    {
    }

protected:
    EventSlot* SlotAt(ULONG ulSlot) override;

private:
    NamedFile mFile;
};

class NamedEventKind : public NamedKind
{
public:
    NamedEventKind(bool bManual, bool bSignalled) : mbManual(bManual), mbSignalled(bSignalled) {}
    ObjectKind Kind() const override { return ObjectKind::Event; }
    SIZE_T Bytes() const override { return sizeof(EventState); }
    SIZE_T MostBytes() const override { return sizeof(EventState) + kulMostSlots * sizeof(EventSlot); }
    KernelObject* Make(NamedFile&& file, bool bNew) const override;

    static constexpr ULONG kulMostSlots = 16384; // threads that wait for one named event at a time

private:
    const bool mbManual, mbSignalled;
};
} // namespace lum
