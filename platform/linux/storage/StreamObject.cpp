#include "StreamObject.h"

#include "ElementMode.h"
#include "ElementStat.h"

#include <algorithm>

namespace lum
{
namespace
{
constexpr ULONG kulCopyBytes = 256 * 1024; // at once
} // namespace

HRESULT StreamObject::QueryInterface(REFIID iid, void** ppObject)
{
    if (!ppObject) return STG_E_INVALIDPOINTER;
    const bool bKnown = iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream;
    *ppObject = bKnown ? static_cast<IStream*>(this) : nullptr;
    if (!bKnown) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

ULONG StreamObject::Release()
{
    const ULONG ulLeft = CountDown();
    if (ulLeft > 0) return ulLeft;
    {
        const std::lock_guard lock(mpHost->mutex);
        Revoke();
    }
    delete this;
    return 0;
}

void StreamObject::Revoke()
{
    StorageLevel* const pLevel = mpLevel;
    const ULONG ulEntry = Key();
    OpenElement::Revoke();
    if (pLevel && !pLevel->open.Find(ulEntry)) pLevel->tree.Forget(ulEntry);
}

HRESULT StreamObject::Read(void* pTo, ULONG ulBytes, ULONG* pulRead)
{
    if (pulRead) *pulRead = 0;
    if (!pTo) return STG_E_INVALIDPOINTER;
    return Enter(
        [&]
        {
            if (!CanRead()) return STG_E_ACCESSDENIED;
            std::size_t ulRead = 0;
            const HRESULT hr = mpLevel->tree.Read(Key(), mullAt, pTo, ulBytes, ulRead);
            mullAt += ulRead;
            if (pulRead) *pulRead = static_cast<ULONG>(ulRead);
            return hr;
        });
}

HRESULT StreamObject::Write(const void* pFrom, ULONG ulBytes, ULONG* pulWritten)
{
    if (pulWritten) *pulWritten = 0;
    if (!pFrom) return STG_E_INVALIDPOINTER;
    return Enter(
        [&]
        {
            const HRESULT hr = Change([&] { return mpLevel->tree.Write(Key(), mullAt, pFrom, ulBytes); });
            if (FAILED(hr)) return hr;
            mullAt += ulBytes;
            if (pulWritten) *pulWritten = ulBytes;
            return hr;
        });
}

// From the start the way is a number without sign.
HRESULT StreamObject::Seek(LARGE_INTEGER move, DWORD ulOrigin, ULARGE_INTEGER* pPosition)
{
    return Enter(
        [&]
        {
            if (ulOrigin > STREAM_SEEK_END) return STG_E_INVALIDFUNCTION;
            ULONGLONG ullFrom = ulOrigin == STREAM_SEEK_CUR ? mullAt : 0;
            if (ulOrigin == STREAM_SEEK_END)
            {
                CfEntry entry;
                const HRESULT hr = mpLevel->tree.Get(Key(), entry);
                if (FAILED(hr)) return hr;
                ullFrom = mpLevel->tree.SizeOf(entry);
            }
            const ULONGLONG ullTo = ullFrom + static_cast<ULONGLONG>(move.QuadPart);
            const bool bBackwards = ulOrigin != STREAM_SEEK_SET && move.QuadPart < 0;
            if (bBackwards ? ullTo > ullFrom : ullTo < ullFrom) return STG_E_INVALIDFUNCTION;
            mullAt = ullTo;
            if (pPosition) pPosition->QuadPart = ullTo;
            return S_OK;
        });
}

HRESULT StreamObject::SetSize(ULARGE_INTEGER size)
{
    return Enter([&] { return Change([&] { return mpLevel->tree.Resize(Key(), size.QuadPart); }); });
}

// The other stream may be anything, so the lock is not held while it writes.
HRESULT StreamObject::CopyTo(IStream* pTo, ULARGE_INTEGER bytes, ULARGE_INTEGER* pRead, ULARGE_INTEGER* pWritten)
{
    ULONGLONG ullRead = 0, ullWritten = 0;
    HRESULT hr = pTo ? Enter([&] { return S_OK; }) : STG_E_INVALIDPOINTER;
    const auto ulBuffer = static_cast<ULONG>(std::min<ULONGLONG>(bytes.QuadPart, kulCopyBytes));
    const std::unique_ptr<BYTE[]> pBuffer(SUCCEEDED(hr) ? new (std::nothrow) BYTE[ulBuffer] : nullptr);
    if (SUCCEEDED(hr) && !pBuffer) hr = STG_E_INSUFFICIENTMEMORY;
    while (SUCCEEDED(hr) && ullRead < bytes.QuadPart)
    {
        ULONG ulRead = 0, ulWritten = 0;
        hr = Read(pBuffer.get(), static_cast<ULONG>(std::min<ULONGLONG>(bytes.QuadPart - ullRead, ulBuffer)), &ulRead);
        ullRead += ulRead;
        if (FAILED(hr) || ulRead == 0) break;
        hr = pTo->Write(pBuffer.get(), ulRead, &ulWritten);
        ullWritten += ulWritten;
        if (SUCCEEDED(hr) && ulWritten < ulRead) hr = STG_E_MEDIUMFULL;
    }
    if (pRead) pRead->QuadPart = ullRead;
    if (pWritten) pWritten->QuadPart = ullWritten;
    return hr;
}

HRESULT StreamObject::Commit(DWORD ulFlags)
{
    return Enter([&] { return ulFlags > kulCommitFlags ? STG_E_INVALIDFLAG : S_OK; });
}

HRESULT StreamObject::Revert()
{
    return Enter([] { return S_OK; });
}

HRESULT StreamObject::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD)
{
    return Enter([] { return STG_E_INVALIDFUNCTION; });
}

HRESULT StreamObject::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD)
{
    return Enter([] { return STG_E_INVALIDFUNCTION; });
}

HRESULT StreamObject::Stat(STATSTG* pStat, DWORD ulFlags)
{
    if (!pStat) return STG_E_INVALIDPOINTER;
    if (ulFlags > STATFLAG_NOOPEN) return STG_E_INVALIDFLAG;
    return Enter(
        [&]
        {
            CfEntry entry;
            const HRESULT hr = mpLevel->tree.Get(Key(), entry);
            return SUCCEEDED(hr) ? FillStat(*mpLevel, entry, Mode(), ulFlags, *pStat) : hr;
        });
}

HRESULT StreamObject::Clone(IStream** ppStream)
{
    if (!ppStream) return STG_E_INVALIDPOINTER;
    *ppStream = nullptr;
    return Enter(
        [&]
        {
            auto pClone = std::make_unique<StreamObject>(mpHost, Mode());
            mpLevel->open.Reserve();
            pClone->Open(*mpParent, *mpLevel, Key());
            pClone->mullAt = mullAt;
            *ppStream = pClone.release();
            return S_OK;
        });
}
} // namespace lum
