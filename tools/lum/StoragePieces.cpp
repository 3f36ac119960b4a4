#include "StoragePieces.h"

namespace tool
{
LongWork::LongWork(const std::string& sWhat, ULONGLONG ullBytes)
{
    constexpr ULONGLONG kullLong = 100'000'000; // bytes
    if (ullBytes >= kullLong) mProgress.emplace(sWhat, static_cast<size_t>(ullBytes));
}

void LongWork::Add(ULONGLONG ullBytes)
{
    mullDone += ullBytes;
    if (mProgress) mProgress->At(static_cast<size_t>(mullDone));
}

ULONG ReadStream(IStream* pStream, BYTE* pTo, const std::string& sShown)
{
    ULONG ulRead = 0;
    const HRESULT hResult = pStream->Read(pTo, kulPiece, &ulRead);
    if (FAILED(hResult)) throw StorageFailure("reading " + sShown, hResult);
    return ulRead;
}

void WriteStream(IStream* pStream, const BYTE* pFrom, ULONG ulBytes, const std::string& sShown)
{
    ULONG ulWritten = 0;
    HRESULT hResult = pStream->Write(pFrom, ulBytes, &ulWritten);
    if (SUCCEEDED(hResult) && ulWritten != ulBytes) hResult = STG_E_MEDIUMFULL;
    if (FAILED(hResult)) throw StorageFailure("writing " + sShown, hResult);
}

ULONGLONG SizeOfStream(IStream* pStream, const std::string& sShown)
{
    STATSTG stat{};
    const HRESULT hResult = pStream->Stat(&stat, STATFLAG_NONAME);
    if (FAILED(hResult)) throw StorageFailure("reading " + sShown, hResult);
    return stat.cbSize.QuadPart;
}

void CheckEnd(const std::string& sShown, ULONGLONG ullDone, ULONGLONG ullBytes)
{
    if (ullDone == ullBytes) return;
    throw Stop(kFailure, "reading " + sShown + " failed: it ends after " + std::to_string(ullDone) + " of " +
                             std::to_string(ullBytes) + " bytes");
}
} // namespace tool
