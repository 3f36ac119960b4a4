// What a compound file lies in. Internal to platform/linux.
#pragma once

#include "StorageCodes.h"

namespace lum
{
class StorageBytes
{
public:
    virtual ~StorageBytes() = default;

    // Read: as many bytes as there are; less than asked for only at the end.  Errors: STG_E_READFAULT.
    virtual HRESULT Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) = 0;

    // Write: all of them, beyond the end too.  Errors: STG_E_WRITEFAULT, STG_E_MEDIUMFULL, STG_E_ACCESSDENIED.
    virtual HRESULT Write(ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes) = 0;

    virtual HRESULT Size(ULONGLONG& ullBytes) = 0;
    virtual HRESULT SetSize(ULONGLONG ullBytes) = 0; // what is added reads as zero

    // Flush: returns when all that was written before would outlive the machine.
    virtual HRESULT Flush() = 0;

    // MayReuse: whether nobody else goes on reading a committed state that is older than the one which lies here now.
    virtual bool MayReuse() { return true; }
};

// A descriptor, which stays the caller's. Moves no file position.
class DescriptorBytes : public StorageBytes
{
public:
    explicit DescriptorBytes(int fd) : mFd(fd) {}

    HRESULT Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) override;
    HRESULT Write(ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes) override;
    HRESULT Size(ULONGLONG& ullBytes) override;
    HRESULT SetSize(ULONGLONG ullBytes) override;
    HRESULT Flush() override;

private:
    const int mFd;
};
} // namespace lum
