#include "SectorFile.h"

#include <algorithm>
#include <cstring>

namespace lum
{
ULONG SectorFile::Count() const
{
    const ULONGLONG ullSectors = SectorsOf(mullSize);
    return ullSectors < 1 ? 0 : static_cast<ULONG>(std::min<ULONGLONG>(ullSectors - 1, kulMaxSector + 1ull));
}

HRESULT SectorFile::Read(ULONG ulSector, ULONGLONG ullBehind, void* pTo, std::size_t ulBytes) const
{
    std::size_t ulRead = 0;
    const HRESULT hr = mBytes.Read(Place(ulSector) + ullBehind, pTo, ulBytes, ulRead);
    if (FAILED(hr)) return hr;
    std::memset(static_cast<char*>(pTo) + ulRead, 0, ulBytes - ulRead);
    return S_OK;
}

HRESULT SectorFile::Write(ULONG ulSector, ULONGLONG ullBehind, const void* pFrom, std::size_t ulBytes)
{
    const ULONGLONG ullAt = Place(ulSector) + ullBehind;
    const HRESULT hr = mBytes.Write(ullAt, pFrom, ulBytes);
    if (SUCCEEDED(hr)) mullSize = std::max(mullSize, ullAt + ulBytes);
    // A part may have been written: behind the end are not zeros then.
    ULONGLONG ullNow = 0;
    if (FAILED(hr) && SUCCEEDED(mBytes.Size(ullNow))) mullSize = std::max(mullSize, ullNow);
    return hr;
}

HRESULT SectorFile::Cover(ULONG ulSectors)
{
    const ULONGLONG ullSize = Place(ulSectors);
    return ullSize > mullSize ? Cut(ullSize) : S_OK;
}

HRESULT SectorFile::Cut(ULONGLONG ullSize)
{
    const HRESULT hr = mBytes.SetSize(ullSize);
    if (SUCCEEDED(hr)) mullSize = ullSize;
    return hr;
}
} // namespace lum
