#include "OComStorage.h"

#include "CaughtException.h"
#include "Held.h"
#include "KeepLastError.h"
#include "OComStream.h"
#include "OSecurity.h"
#include "StorageResult.h"

#include <utility>

namespace
{
// The configured user's identity until its end, by whichever way that comes.
class OAsUser
{
public:
    OAsUser() { ImpersonateUser(); }
    ~OAsUser()
    {
        const OKeepLastError keep;
        ImpersonateRevertToSelf();
    }
    OAsUser(const OAsUser&) = delete;
    OAsUser& operator=(const OAsUser&) = delete;
};

// A name as %S can write it: with question marks for what is not in the runtime's locale, and not too long for a line. Else
// there would be no line, and a message box in its place.
class OPrintable
{
public:
    explicit OPrintable(const unsigned short* pName) : mpName(pName)
    {
        char acName[kulMost];
        const int iBytes = _snprintf(acName, sizeof acName, "%S", AsWide(pName));
        if (iBytes >= 0 && static_cast<std::size_t>(iBytes) < sizeof acName) return;
        unsigned short* pTo = mauwName;
        for (; *pName && pTo < mauwName + kulMost - 1; ++pName) *pTo++ = *pName < 0x80 ? *pName : u'?';
        *pTo = 0;
        mpName = mauwName;
    }
    OPrintable(const OPrintable&) = delete;
    OPrintable& operator=(const OPrintable&) = delete;

    const unsigned short* Text() const { return mpName; }

private:
    static constexpr std::size_t kulMost = 900; // of the 1,023 bytes of a line

    const unsigned short* mpName;
    unsigned short mauwName[kulMost];
};

SNB Names(unsigned short** ppNames) { return reinterpret_cast<SNB>(ppNames); }
constexpr DWORD kulAccess = STGM_READ | STGM_WRITE | STGM_READWRITE;
} // namespace

OComStorage::OComStorage()
{
    try
    {
        SetGroup("FileStorage");
        SetErrorBase(12000);
    }
    catch (...) { LogCaught("OComStorage::OComStorage"); throw; }
}

OComStorage::OComStorage(const OComStorage& source) : OBase(source), mpStorage(source.mpStorage)
{
    if (mpStorage) mpStorage->AddRef();
}

OComStorage& OComStorage::operator=(const OComStorage& source)
try
{
    OComStorage copy(source);
    OBase::operator=(source);
    std::swap(mpStorage, copy.mpStorage); // the copy closes what was here
    return *this;
}
catch (...) { LogCaught("OComStorage::operator="); throw; }

OComStorage::~OComStorage()
{
    try
    {
        CloseStorage();
    }
    catch (...) { LogCaught("OComStorage::~OComStorage"); DropCaught(); }
}

void OComStorage::CloseStorage()
{
    if (IStorage* const pStorage = std::exchange(mpStorage, nullptr)) pStorage->Release();
}

void OComStorage::CheckAttached()
{
    if (!mpStorage) Raise(kulNotAttached);
}

// Logs the result of a call for a file, and raises its code.
void OComStorage::RefuseFile(const char* pMethod, HRESULT hResult, const unsigned short* pFile)
{
    const OStorageResult result = StorageResult(hResult);
    LogGroup("Error", nullptr, pMethod, "Error [%s], hResult[%08X], File[%S]", result.pName, static_cast<unsigned>(hResult),
             OPrintable(pFile).Text());
    Raise(result.ulRaiseCode);
}

void OComStorage::CreateRootStorage(const unsigned short* pFile, ULONG ulMode)
try
{
    if (mpStorage) Raise(kulOccupied);
    Held<IStorage> storage;
    const HRESULT hResult = [&]
    {
        const OAsUser asUser;
        return StgCreateDocfile(AsWide(pFile), ulMode, 0, storage.Out());
    }();
    if (hResult != S_OK) RefuseFile("CreateRootStorage", hResult, pFile);
    mpStorage = storage.Take();
}
catch (...) { LogCaught("OComStorage::CreateRootStorage"); throw; }

void OComStorage::OpenRootStorage(const unsigned short* pFile, ULONG ulMode, unsigned short** ppExclude)
try
{
    if (mpStorage) Raise(kulOccupied);
    Held<IStorage> storage;
    const HRESULT hResult = [&]
    {
        const OAsUser asUser;
        return StgOpenStorage(AsWide(pFile), nullptr, ulMode, Names(ppExclude), 0, storage.Out());
    }();
    if (hResult != S_OK) RefuseFile("OpenRootStorage", hResult, pFile);
    mpStorage = storage.Take();
}
catch (...) { LogCaught("OComStorage::OpenRootStorage"); throw; }

void OComStorage::CreateSubStorage(const unsigned short* pName, OComStorage& sub, ULONG ulMode)
try
{
    CheckAttached();
    Held<IStorage> storage;
    const HRESULT hResult = [&]
    {
        const OAsUser asUser;
        return mpStorage->CreateStorage(AsWide(pName), ulMode, 0, 0, storage.Out());
    }();
    if (hResult != S_OK) RaiseStorageResult(*this, "CreateSubStorage", hResult);
    if (sub.mpStorage) Raise(kulOccupied);
    sub.mpStorage = storage.Take();
}
catch (...) { LogCaught("OComStorage::CreateSubStorage"); throw; }

void OComStorage::OpenSubStorage(const unsigned short* pName, OComStorage& sub, ULONG ulMode, unsigned short** ppExclude)
try
{
    CheckAttached();
    Held<IStorage> storage;
    const HRESULT hResult = [&]
    {
        const OAsUser asUser;
        return mpStorage->OpenStorage(AsWide(pName), nullptr, ulMode, Names(ppExclude), 0, storage.Out());
    }();
    if (hResult != S_OK) RaiseStorageResult(*this, "OpenSubStorage", hResult);
    if (sub.mpStorage) Raise(kulOccupied);
    sub.mpStorage = storage.Take();
}
catch (...) { LogCaught("OComStorage::OpenSubStorage"); throw; }

void OComStorage::CreateStream(const unsigned short* pName, OComStream& stream, ULONG ulMode)
try
{
    CheckAttached();
    Held<IStream> given;
    const HRESULT hResult = mpStorage->CreateStream(AsWide(pName), ulMode, 0, 0, given.Out());
    if (hResult != S_OK) RaiseStorageResult(*this, "CreateStream", hResult);
    if (stream.mpStream) Raise(kulOccupied);
    stream.mpStream = given.Take();
}
catch (...) { LogCaught("OComStorage::CreateStream"); throw; }

void OComStorage::OpenStream(const unsigned short* pName, OComStream& stream, ULONG ulMode)
try
{
    CheckAttached();
    Held<IStream> given;
    STATSTG stat{};
    HRESULT hResult = mpStorage->Stat(&stat, STATFLAG_NONAME);
    const ULONG ulEffective = (ulMode & ~kulAccess) | (stat.grfMode & kulAccess);
    if (hResult == S_OK) hResult = mpStorage->OpenStream(AsWide(pName), nullptr, ulEffective, 0, given.Out());
    if (hResult != S_OK)
    {
        const OStorageResult result = StorageResult(hResult);
        LogGroup("Error", nullptr, "OpenStream", "Error [%s], hResult[%08X], Stream [%S]", result.pName,
                 static_cast<unsigned>(hResult), OPrintable(pName).Text());
        Raise(result.ulRaiseCode);
    }
    if (stream.mpStream) Raise(kulOccupied);
    stream.mpStream = given.Take();
    stream.SeekToStart();
}
catch (...) { LogCaught("OComStorage::OpenStream"); throw; }

void OComStorage::CopyTo(ULONG ulExclude, const GUID* pExclude, unsigned short** ppExclude, OComStorage& destination)
try
{
    if (!mpStorage) LogGroup("Warning", nullptr, "CopyTo", "Source Storage is empty");
    CheckAttached();
    const HRESULT hResult = mpStorage->CopyTo(ulExclude, pExclude, Names(ppExclude), destination.mpStorage);
    if (hResult != S_OK) RefuseFile("CopyTo", hResult, AsUnits(u""));
}
catch (...) { LogCaught("OComStorage::CopyTo"); throw; }

void OComStorage::Commit()
try
{
    if (mpStorage) mpStorage->Commit(STGC_DEFAULT);
}
catch (...) { LogCaught("OComStorage::Commit"); throw; }

void OComStorage::DeleteStream(const unsigned short* pName)
try
{
    if (mpStorage) mpStorage->DestroyElement(AsWide(pName));
}
catch (...) { LogCaught("OComStorage::DeleteStream"); throw; }
