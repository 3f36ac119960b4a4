#include "OComStream.h"

#include "CaughtException.h"
#include "StorageResult.h"

#include <utility>

OComStream::OComStream()
{
    try
    {
        SetGroup("FileStorage");
        SetErrorBase(12000);
    }
    catch (...) { LogCaught("OComStream::OComStream"); throw; }
}

OComStream::OComStream(const OComStream& source) : OBase(source), mpStream(source.mpStream)
{
    if (mpStream) mpStream->AddRef();
}

OComStream& OComStream::operator=(const OComStream& source)
try
{
    OComStream copy(source);
    OBase::operator=(source);
    std::swap(mpStream, copy.mpStream); // the copy closes what was here
    return *this;
}
catch (...) { LogCaught("OComStream::operator="); throw; }

OComStream::~OComStream()
{
    try
    {
        CloseStream();
    }
    catch (...) { LogCaught("OComStream::~OComStream"); DropCaught(); }
}

void OComStream::CloseStream()
{
    if (IStream* const pStream = std::exchange(mpStream, nullptr)) pStream->Release();
}

void OComStream::CheckAttached()
{
    if (!mpStream) Raise(kulNotAttached);
}

void OComStream::Write(const void* pFrom, ULONG ulBytes)
try
{
    CheckAttached();
    ULONG ulWritten = 0;
    const HRESULT hResult = mpStream->Write(pFrom, ulBytes, &ulWritten);
    if (hResult != S_OK)
    {
        const OStorageResult result = StorageResult(hResult);
        LogGroup("Error", nullptr, "Write", "Error [%s]", result.pName);
        Raise(result.ulRaiseCode);
    }
    if (ulWritten != ulBytes) Raise(kulShortWrite);
}
catch (...) { LogCaught("OComStream::Write"); throw; }

void OComStream::Read(void* pTo, ULONG ulBytes, ULONG* pulRead)
try
{
    CheckAttached();
    ULONG ulRead = 0;
    const HRESULT hResult = mpStream->Read(pTo, ulBytes, pulRead ? pulRead : &ulRead);
    if (hResult != S_OK) RaiseStorageResult(*this, "Read", hResult);
    if (!pulRead && ulRead != ulBytes) Raise(kulShortRead);
}
catch (...) { LogCaught("OComStream::Read"); throw; }

void OComStream::Seek(LARGE_INTEGER move, ULONG ulOrigin, ULARGE_INTEGER* pNewPosition)
try
{
    CheckAttached();
    const HRESULT hResult = mpStream->Seek(move, ulOrigin, pNewPosition);
    if (hResult != S_OK) RaiseStorageResult(*this, "Seek", hResult);
}
catch (...) { LogCaught("OComStream::Seek"); throw; }

void OComStream::SeekToStart()
try
{
    CheckAttached();
    Seek(LARGE_INTEGER{}, STREAM_SEEK_SET);
}
catch (...) { LogCaught("OComStream::SeekToStart"); throw; }

void OComStream::SeekToEnd(ULONG* pulPosition)
try
{
    CheckAttached();
    ULARGE_INTEGER position{};
    Seek(LARGE_INTEGER{}, STREAM_SEEK_END, &position);
    if (pulPosition) *pulPosition = static_cast<ULONG>(position.QuadPart);
}
catch (...) { LogCaught("OComStream::SeekToEnd"); throw; }

ULONG OComStream::Size()
try
{
    CheckAttached();
    STATSTG stat{};
    const HRESULT hResult = mpStream->Stat(&stat, STATFLAG_NONAME);
    if (hResult != S_OK) RaiseStorageResult(*this, "Size", hResult);
    return static_cast<ULONG>(stat.cbSize.QuadPart);
}
catch (...) { LogCaught("OComStream::Size"); throw; }

void OComStream::SetSize(ULARGE_INTEGER size)
try
{
    if (mpStream) mpStream->SetSize(size);
}
catch (...) { LogCaught("OComStream::SetSize"); throw; }

void OComStream::Commit()
try
{
    if (mpStream) mpStream->Commit(STGC_DEFAULT);
}
catch (...) { LogCaught("OComStream::Commit"); throw; }
