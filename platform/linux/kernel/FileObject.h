// What stands behind a file's handle. Internal to platform/linux.
#pragma once

#include "FileShare.h"
#include "HandleTable.h"

namespace lum
{
class FileObject : public KernelObject
{
public:
    // Takes over the descriptor.
    FileObject(int fd, const ShareMode& share, bool bDeleteOnClose)
        : KernelObject(ObjectKind::File), mFd(fd), mLocks(fd, share), mbDeleteOnClose(bDeleteOnClose)
    {
    }
    ~FileObject() override;

    int Fd() const { return mFd; }
    RangeLocks& Locks() { return mLocks; }

private:
    const int mFd;
    RangeLocks mLocks;
    const bool mbDeleteOnClose;
};

// The file behind a handle, opened with one of these rights (0: with any). Sets ERROR_INVALID_HANDLE or ERROR_ACCESS_DENIED.
class FileUse
{
public:
    FileUse(HANDLE hFile, DWORD ulOneOf, DWORD* pulAccess = nullptr);

    explicit operator bool() const { return static_cast<bool>(mRef); }
    FileObject* operator->() const { return mRef.As<FileObject>(); }

private:
    ObjectRef mRef;
};
} // namespace lum
