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
    IStream* const pStream = this;
    return Query(iid, ppObject, {{IID_IUnknown, pStream}, {IID_ISequentialStream, pStream}, {IID_IStream, pStream}});
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
    return EnterToChange(
        [&]
        {
            std::size_t ulWritten = 0;
            const HRESULT hr = mpLevel->tree.Write(Key(), mullAt, pFrom, ulBytes, &ulWritten);
            mullAt += ulWritten;
            if (pulWritten) *pulWritten = static_cast<ULONG>(ulWritten);
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
    return EnterToChange([&] { return mpLevel->tree.Resize(Key(), size.QuadPart); });
}

// How much there is from the place on.
HRESULT StreamObject::Rest(ULONGLONG& ullBytes)
{
    CfEntry entry;
    const HRESULT hr = CanRead() ? mpLevel->tree.Get(Key(), entry) : STG_E_ACCESSDENIED;
    if (FAILED(hr)) return hr;
    const ULONGLONG ullSize = mpLevel->tree.SizeOf(entry);
    ullBytes = ullSize > mullAt ? ullSize - mullAt : 0;
    return S_OK;
}

// The other stream may be anything, so the lock is not held while it writes. It may be a clone further on: what it makes of this
// stream is not copied again.
HRESULT StreamObject::CopyTo(IStream* pTo, ULARGE_INTEGER bytes, ULARGE_INTEGER* pRead, ULARGE_INTEGER* pWritten)
{
    ULONGLONG ullBytes = 0, ullRead = 0, ullWritten = 0;
    HRESULT hr = pTo ? Enter([&] { return Rest(ullBytes); }) : STG_E_INVALIDPOINTER;
    ullBytes = std::min<ULONGLONG>(ullBytes, bytes.QuadPart);
    const auto ulBuffer = static_cast<ULONG>(std::min<ULONGLONG>(ullBytes, kulCopyBytes));
    const std::unique_ptr<BYTE[]> pBuffer(SUCCEEDED(hr) ? new (std::nothrow) BYTE[ulBuffer] : nullptr);
    if (SUCCEEDED(hr) && !pBuffer) hr = STG_E_INSUFFICIENTMEMORY;
    while (SUCCEEDED(hr) && ullRead < ullBytes)
    {
        ULONG ulRead = 0, ulWritten = 0;
        hr = Read(pBuffer.get(), static_cast<ULONG>(std::min<ULONGLONG>(ullBytes - ullRead, ulBuffer)), &ulRead);
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
    return Enter([&] { return ulFlags & ~kulCommitFlags ? STG_E_INVALIDFLAG : S_OK; });
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
