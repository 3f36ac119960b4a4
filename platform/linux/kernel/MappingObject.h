// What stands behind a mapping's handle. Internal to platform/linux.
#pragma once

#include "NamedFile.h"

namespace lum
{
// What a mapping is made from.
struct MappingRequest
{
    HANDLE hFile;
    DWORD ulProtect; // PAGE_ alone
    ULONGLONG ullBytes;

    bool IsMemory() const { return !hFile || hFile == INVALID_HANDLE_VALUE; }
    bool MayWrite() const;
};

// The state of a named mapping in its file; the data of one without a file of its own follow at ullDataAt.
struct MappingState
{
    ULONGLONG ullBytes;  // 0x00  length of the mapping
    ULONGLONG ullDataAt; // 0x08  where the data begin, in this file or (0) the mapped one
    ULONG ulProtect;     // 0x10  PAGE_
    ULONG ulPathBytes;   // 0x14  length of acPath; 0 for memory
    ULONGLONG ullDevice; // 0x18  identity of the mapped file
    ULONGLONG ullInode;  // 0x20
    char acPath[4056];   // 0x28  the mapped file
};
static_assert(sizeof(MappingState) == 4096);

class MappingObject : public KernelObject
{
public:
    // Takes over the descriptor of the data.
    MappingObject(int fd, const MappingState& state, NamedFile&& file)
        : KernelObject(ObjectKind::Mapping), mFd(fd), mullBytes(state.ullBytes), mullDataAt(state.ullDataAt),
          mulProtect(state.ulProtect), mFile(std::move(file))
    {
    }
    ~MappingObject() override;

    // A mapping without a name; null with the last error set.
    static MappingObject* Make(const MappingRequest& request);

    int Fd() const { return mFd; }
    ULONGLONG Bytes() const { return mullBytes; }
    ULONGLONG DataAt() const { return mullDataAt; }
    DWORD Protect() const { return mulProtect; }

private:
    const int mFd;
    const ULONGLONG mullBytes, mullDataAt;
    const DWORD mulProtect;
    NamedFile mFile;
};

class NamedMappingKind : public NamedKind
{
public:
    explicit NamedMappingKind(const MappingRequest& request) : mRequest(request) {}
    ObjectKind Kind() const override { return ObjectKind::Mapping; }
    SIZE_T Bytes() const override { return sizeof(MappingState); }
    SIZE_T MostBytes() const override { return sizeof(MappingState); }
    KernelObject* Make(NamedFile&& file, bool bNew) const override;

private:
    const MappingRequest mRequest;
};
} // namespace lum
