// A look into a compound file by its name: what its sectors are for, and whether the disk still has them.
#include "PlatformPrivate.h"

#include "../kernel/FileObject.h"
#include "StorageCheck.h"

#include <algorithm>
#include <memory>
#include <new>

namespace lum
{
namespace
{
constexpr std::size_t kulPiece = 1 << 20;
constexpr std::size_t kulSector = 512;

// Reads all that there is. What the disk does not give is told once for each stretch of it.
void ReadAll(StorageBytes& bytes, LumStorageDamage pTell, LumStorageProgress pAt, void* pContext)
{
    const std::unique_ptr<BYTE[]> pPiece(new BYTE[kulPiece]);
    ULONGLONG ullSize = 0, ullAt = 0, ullBad = 0;
    std::size_t ulRead = 0, ulAsked = kulPiece;
    const auto tellBad = [&](ULONGLONG ullFrom, ULONGLONG ullTo)
    {
        const std::string sWhere = "bytes " + std::to_string(ullFrom) + " to " + std::to_string(ullTo - 1);
        pTell(pContext, sWhere.c_str(), "cannot be read from the disk");
    };
    bool bBad = false;
    if (FAILED(bytes.Size(ullSize))) return;
    while (ullAt < ullSize)
    {
        const std::size_t ulWanted = static_cast<std::size_t>(std::min<ULONGLONG>(ulAsked, ullSize - ullAt));
        if (FAILED(bytes.Read(ullAt, pPiece.get(), ulWanted, ulRead)))
        {
            if (ulAsked > kulSector) // which part of it?
            {
                ulAsked = kulSector;
                continue;
            }
            if (!bBad) ullBad = ullAt;
            bBad = true;
            ullAt += ulWanted;
            continue;
        }
        if (bBad) tellBad(ullBad, ullAt);
        bBad = false;
        if (ulRead == 0) break; // it is shorter by now
        ullAt += ulRead;
        if (ullAt % kulPiece == 0) ulAsked = kulPiece;
        pAt(pContext, ullAt, ullSize);
    }
    if (bBad) tellBad(ullBad, ullAt);
}

HRESULT Check(StorageBytes& bytes, LumStorageDamage pTell, LumStorageProgress pAt, void* pContext)
{
    std::vector<StorageFinding> findings;
    const HRESULT hr = CheckStorage(bytes, findings);
    if (FAILED(hr)) return hr;
    for (const StorageFinding& finding : findings) pTell(pContext, finding.sWhere.c_str(), finding.sWhat.c_str());
    ReadAll(bytes, pTell, pAt, pContext);
    return S_OK;
}
} // namespace
} // namespace lum

HRESULT LumCheckStorage(LPCWSTR pFile, LumStorageDamage pTell, LumStorageProgress pAt, void* pContext)
try
{
    const HANDLE hFile = CreateFileW(pFile, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
    const std::unique_ptr<void, decltype(&CloseHandle)> held(hFile, CloseHandle);
    lum::DescriptorBytes bytes(lum::FileUse(hFile, 0)->Fd());
    return lum::Check(bytes, pTell, pAt, pContext);
}
catch (const std::bad_alloc&)
{
    return STG_E_INSUFFICIENTMEMORY;
}
