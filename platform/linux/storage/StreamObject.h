// An open stream. Internal to platform/linux.
//
//  * Each has its own place; the clones of one share its bytes, and count as one open.
//  * Changes go to the storage's view at once, there is nothing to commit.
#pragma once

#include "OpenElement.h"

namespace lum
{
class StreamObject final : public IStream, public OpenElement
{
public:
    StreamObject(std::shared_ptr<StorageHost> pHost, DWORD ulMode) : OpenElement(std::move(pHost), ulMode) {}
    // Prepare, then Open: in a storage whose view that is. The latter cannot fail.
    void Prepare(StorageLevel& level) { level.open.Reserve(); }
    void Open(OpenElement& parent, StorageLevel& level, ULONG ulEntry) { Attach(parent, level, ulEntry); }

    HRESULT QueryInterface(REFIID iid, void** ppObject) override;
    ULONG AddRef() override { return CountUp(); }
    ULONG Release() override { return CountDown(); }

    HRESULT Read(void* pTo, ULONG ulBytes, ULONG* pulRead) override;
    HRESULT Write(const void* pFrom, ULONG ulBytes, ULONG* pulWritten) override;
    HRESULT Seek(LARGE_INTEGER move, DWORD ulOrigin, ULARGE_INTEGER* pPosition) override;
    HRESULT SetSize(ULARGE_INTEGER size) override;
    HRESULT CopyTo(IStream* pTo, ULARGE_INTEGER bytes, ULARGE_INTEGER* pRead, ULARGE_INTEGER* pWritten) override;
    HRESULT Commit(DWORD ulFlags) override;
    HRESULT Revert() override;
    HRESULT LockRegion(ULARGE_INTEGER at, ULARGE_INTEGER bytes, DWORD ulType) override;
    HRESULT UnlockRegion(ULARGE_INTEGER at, ULARGE_INTEGER bytes, DWORD ulType) override;
    HRESULT Stat(STATSTG* pStat, DWORD ulFlags) override;
    HRESULT Clone(IStream** ppStream) override;

    void Revoke() override;

private:
    HRESULT Rest(ULONGLONG& ullBytes);

    ULONGLONG mullAt = 0;
};
} // namespace lum
