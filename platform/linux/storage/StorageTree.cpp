#include "StorageTree.h"

#include <algorithm>

namespace lum
{
static constexpr std::size_t kulCopyBytes = 256 * 1024; // at once

HRESULT CopyBytes(StorageTree& from, ULONG ulFrom, StorageTree& to, ULONG ulTo, ULONGLONG ullBytes)
{
    std::vector<BYTE> buffer(static_cast<std::size_t>(std::min<ULONGLONG>(ullBytes, kulCopyBytes)));
    HRESULT hr = S_OK;
    for (ULONGLONG ullAt = 0; ullAt < ullBytes && SUCCEEDED(hr);)
    {
        std::size_t ulRead = 0;
        const auto ulWanted = static_cast<std::size_t>(std::min<ULONGLONG>(ullBytes - ullAt, buffer.size()));
        hr = from.Read(ulFrom, ullAt, buffer.data(), ulWanted, ulRead);
        if (SUCCEEDED(hr) && ulRead < ulWanted) hr = STG_E_DOCFILECORRUPT;
        if (SUCCEEDED(hr)) hr = to.Write(ulTo, ullAt, buffer.data(), ulRead);
        ullAt += ulRead;
    }
    return hr;
}
} // namespace lum
