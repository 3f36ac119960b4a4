// Mutexes in files. Internal to platform/linux.
#pragma once

#include "MutexObject.h"
#include "NamedFile.h"

namespace lum
{
class NamedMutex : public MutexObject
{
public:
    // bOwnedHere: a thread of this process may own it already.
    NamedMutex(NamedFile&& file, bool bOwnedHere)
        : MutexObject(reinterpret_cast<MutexState*>(file.State()), true), mFile(std::move(file))
    {
        if (bOwnedHere) NoteOwner();
    }
    ~NamedMutex() override;

private:
    NamedFile mFile;
};

class NamedMutexKind : public NamedKind
{
public:
    explicit NamedMutexKind(bool bInitialOwner) : mbInitialOwner(bInitialOwner) {}
    ObjectKind Kind() const override { return ObjectKind::Mutex; }
    SIZE_T Bytes() const override { return sizeof(MutexState); }
    SIZE_T MostBytes() const override { return sizeof(MutexState); }
    KernelObject* Make(NamedFile&& file, bool bNew) const override;

private:
    const bool mbInitialOwner; // of one that is new
};
} // namespace lum
