// What stands behind a file's handle. Internal to platform/linux.
#pragma once

#include "FileShare.h"
#include "HandleTable.h"

#include <atomic>

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

    // Fd: with its position where the last transfer left it.
    int Fd()
    {
        if (mbAppended.load(std::memory_order_relaxed)) SettlePosition();
        return mFd;
    }
    // AppendFd: another open of the same file, whose every write goes to the end in one step; -1 where there can be none.
    //   Whoever writes to it says so, and Fd moves the position then: moving it each time would cost a third of a short write.
    int AppendFd();
    void SetAppended() { mbAppended.store(true, std::memory_order_relaxed); }
    RangeLocks& Locks() { return mLocks; }

private:
    static constexpr int kiNotAsked = -2;

    void SettlePosition();

    const int mFd;
    RangeLocks mLocks;
    const bool mbDeleteOnClose;
    std::atomic<int> mAppendFd = kiNotAsked;
    std::atomic<bool> mbAppended = false;
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
