#include "StgOpen.h"

#include "../com/Activation.h"
#include "../com/TaskMemory.h"
#include "../kernel/FileNames.h"
#include "../kernel/FileObject.h"
#include "../kernel/FileRemoval.h"
#include "../kernel/Files.h"
#include "../kernel/Handles.h"
#include "../kernel/PathCalls.h"
#include "../kernel/Paths.h"
#include "../kernel/System.h"
#include "../kernel/Text.h"
#include "RootFile.h"
#include "StgMode.h"
#include "StorageObject.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <new>

namespace lum
{
namespace
{
struct ErrorRow { DWORD ulError; HRESULT hr; };
constexpr ErrorRow kErrors[] = {{ERROR_FILE_NOT_FOUND, STG_E_FILENOTFOUND},
                                {ERROR_PATH_NOT_FOUND, STG_E_PATHNOTFOUND},
                                {ERROR_TOO_MANY_OPEN_FILES, STG_E_TOOMANYOPENFILES},
                                {ERROR_ACCESS_DENIED, STG_E_ACCESSDENIED},
                                {ERROR_NOT_ENOUGH_MEMORY, STG_E_INSUFFICIENTMEMORY},
                                {ERROR_WRITE_PROTECT, STG_E_DISKISWRITEPROTECTED},
                                {ERROR_SHARING_VIOLATION, STG_E_SHAREVIOLATION},
                                {ERROR_FILE_EXISTS, STG_E_FILEALREADYEXISTS},
                                {ERROR_DISK_FULL, STG_E_MEDIUMFULL},
                                {ERROR_INVALID_NAME, STG_E_INVALIDNAME},
                                {ERROR_BAD_NETPATH, STG_E_PATHNOTFOUND},
                                {ERROR_FILENAME_EXCED_RANGE, STG_E_INVALIDNAME}};

HRESULT ResultOf(DWORD ulError)
{
    for (const ErrorRow& row : kErrors)
        if (row.ulError == ulError) return row.hr;
    return HRESULT_FROM_WIN32(ulError);
}

constexpr DWORD kaulShares[] = {FILE_SHARE_READ | FILE_SHARE_WRITE, 0, FILE_SHARE_READ, FILE_SHARE_WRITE,
                                FILE_SHARE_READ | FILE_SHARE_WRITE}; // by bits 4 to 6 of a mode

DWORD ShareOf(DWORD ulMode) { return kaulShares[(ulMode & 0x70) >> 4]; }
DWORD AccessOf(DWORD ulMode) { return (ulMode & 3) == STGM_READ ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE; }

// A pipe would keep whoever opens it waiting, and nothing but a file can hold a compound file.
bool IsOther(const WCHAR* pName)
{
    SystemPath path;
    struct stat status{};
    if (!ToSystemPath(pName, path) || OnSpelling(path.sPath, [&](const char* p) { return stat(p, &status); }) != 0) return false;
    return !S_ISREG(status.st_mode);
}

// The file with the shares that the mode asks for. bFound: it was there before.
HRESULT OpenFile(const WCHAR* pName, DWORD ulMode, DWORD ulDisposition, HANDLE& hFile, bool& bFound)
{
    if (IsOther(pName)) return STG_E_ACCESSDENIED;
    const DWORD ulAccess = ulDisposition == CREATE_NEW ? GENERIC_READ | GENERIC_WRITE : AccessOf(ulMode);
    hFile = CreateFileW(pName, ulAccess, ShareOf(ulMode), nullptr, ulDisposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD ulError = GetLastError();
    bFound = ulDisposition == OPEN_EXISTING || ulError == ERROR_ALREADY_EXISTS;
    if (hFile != INVALID_HANDLE_VALUE) return S_OK;
    if (ulError != ERROR_SHARING_VIOLATION || (ulMode & 0x70) != STGM_SHARE_EXCLUSIVE) return ResultOf(ulError);

    // Whether somebody denies it, or only stands in the way of being alone.
    const HANDLE hShared = CreateFileW(pName, ulAccess, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hShared == INVALID_HANDLE_VALUE) return STG_E_SHAREVIOLATION;
    CloseHandle(hShared);
    return STG_E_LOCKVIOLATION;
}

// Takes over the handle, also when memory ends. A file that was made for this goes then.
std::unique_ptr<RootFile> MakeRoot(HANDLE hFile, DWORD ulMode, const WCHAR* pName, bool bMade)
{
    const int fd = FileUse(hFile, 0)->Fd();
    try
    {
        return std::make_unique<RootFile>(hFile, fd, ulMode, reinterpret_cast<const char16_t*>(pName));
    }
    catch (const std::bad_alloc&)
    {
        if (bMade) TakeBackFile(fd);
        CloseHandle(hFile);
        throw;
    }
}

HRESULT Finish(std::unique_ptr<RootFile> pFile, HRESULT hr, IStorage** ppStorage)
{
    if (FAILED(hr)) return hr;
    RootFile& file = *pFile;
    const HRESULT hrMade = MakeRootStorage(std::move(pFile), ppStorage);
    if (FAILED(hrMade)) return hrMade;
    file.Keep();
    return hr;
}

HRESULT CreateTemporary(DWORD ulMode, WORD uwVersion, IStorage** ppStorage)
{
    char acFolder[4096];
    if (GetTempPathA(sizeof acFolder, acFolder) == 0) return STG_E_PATHNOTFOUND;
    static std::atomic<unsigned> gulNext{0};
    for (int i = 0; i < 100; ++i)
    {
        char acEnd[64];
        std::snprintf(acEnd, sizeof acEnd, "STO%x-%x.tmp", static_cast<unsigned>(getpid()), ++gulNext);
        WCHAR auwName[4200];
        if (MultiByteToWideChar(CP_ACP, 0, (std::string(acFolder) + acEnd).c_str(), -1, auwName, 4200) == 0)
            return STG_E_INVALIDNAME;
        HANDLE hFile = INVALID_HANDLE_VALUE;
        bool bFound = false;
        HRESULT hr = OpenFile(auwName, ulMode, CREATE_NEW, hFile, bFound);
        if (hr == STG_E_FILEALREADYEXISTS) continue;
        if (FAILED(hr)) return hr;
        std::unique_ptr<RootFile> pFile = MakeRoot(hFile, ulMode, auwName, true);
        hr = pFile->Create(uwVersion);
        return Finish(std::move(pFile), hr, ppStorage);
    }
    return STG_E_FILEALREADYEXISTS;
}

HRESULT Create(const WCHAR* pName, DWORD ulMode, WORD uwVersion, IStorage** ppStorage)
{
    HRESULT hr = CheckCreateMode(ulMode);
    if (FAILED(hr)) return hr;
    if (!pName) return CreateTemporary(ulMode, uwVersion, ppStorage);

    // Reading is enough for what may be thrown away; to make a file takes more.
    HANDLE hFile = INVALID_HANDLE_VALUE;
    bool bFound = false;
    const bool bMayBeThere = (ulMode & (STGM_CREATE | STGM_CONVERT)) != 0;
    const bool bReads = (ulMode & 3) == STGM_READ;
    hr = OpenFile(pName, ulMode, !bMayBeThere ? CREATE_NEW : bReads ? OPEN_EXISTING : OPEN_ALWAYS, hFile, bFound);
    if (hr == STG_E_FILENOTFOUND && bMayBeThere && bReads) hr = OpenFile(pName, ulMode, CREATE_NEW, hFile, bFound);
    if (FAILED(hr)) return hr;

    std::unique_ptr<RootFile> pFile = MakeRoot(hFile, ulMode, pName, !bFound);
    if (!bFound) hr = pFile->Create(uwVersion);
    // Somebody else may have been quicker to create something in what we made.
    if (!bFound && bMayBeThere) bFound = hr == STG_E_FILEALREADYEXISTS;
    if (bFound) hr = ulMode & STGM_CONVERT ? pFile->Convert(uwVersion) : pFile->CreateOver(uwVersion);
    return Finish(std::move(pFile), SUCCEEDED(hr) && bFound && (ulMode & STGM_CONVERT) ? STG_S_CONVERTED : hr, ppStorage);
}

HRESULT Open(const WCHAR* pName, DWORD ulMode, SNB ppExclude, IStorage** ppStorage, STGOPTIONS* pOptions)
{
    HRESULT hr = CheckOpenMode(ulMode);
    if (FAILED(hr)) return hr;
    HANDLE hFile = INVALID_HANDLE_VALUE;
    bool bFound = false;
    hr = OpenFile(pName, ulMode, OPEN_EXISTING, hFile, bFound);
    if (FAILED(hr)) return hr;
    std::unique_ptr<RootFile> pFile = MakeRoot(hFile, ulMode, pName, false);
    hr = pFile->Open();
    if (SUCCEEDED(hr) && ppExclude) hr = pFile->Exclude(ppExclude);
    if (SUCCEEDED(hr) && pOptions) hr = pFile->ReadSectorBytes(pOptions->ulSectorSize);
    return Finish(std::move(pFile), hr, ppStorage);
}

HRESULT IsStorageFile(const WCHAR* pName)
{
    SystemPath path;
    if (!pName || !ToSystemPath(pName, path) || IsOther(pName)) return STG_E_FILENOTFOUND;
    const int fd = OnSpelling(path.sPath, [](const char* p) { return open(p, O_RDONLY | O_CLOEXEC | O_NOCTTY); });
    if (fd < 0) return errno == EACCES ? STG_E_ACCESSDENIED : STG_E_FILENOTFOUND;
    BYTE aubMagic[sizeof kaubCfMagic] = {};
    const ssize_t lRead = pread(fd, aubMagic, sizeof aubMagic, 0);
    close(fd);
    return lRead == sizeof aubMagic && std::memcmp(aubMagic, kaubCfMagic, sizeof aubMagic) == 0 ? S_OK : S_FALSE;
}

HRESULT SetTimes(const WCHAR* pName, const FILETIME* pCreated, const FILETIME* pAccessed, const FILETIME* pModified)
{
    constexpr DWORD kulAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE hFile = CreateFileW(pName, FILE_WRITE_ATTRIBUTES, kulAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) return ResultOf(GetLastError());
    const HRESULT hr = SetFileTime(hFile, pCreated, pAccessed, pModified) ? S_OK : ResultOf(GetLastError());
    CloseHandle(hFile);
    return hr;
}

// No exception leaves a call.
template <class Call>
HRESULT Guarded(Call call)
{
    try { return call(); }
    catch (const std::bad_alloc&) { return STG_E_INSUFFICIENTMEMORY; }
}

// What the Ex calls are given besides a mode.
HRESULT CheckRest(DWORD ulFormat, DWORD ulAttributes, const STGOPTIONS* pOptions, REFIID iid, bool bAny)
{
    const bool bDocfile = ulFormat == STGFMT_DOCFILE;
    if (!bDocfile && ulFormat != STGFMT_STORAGE && !(bAny && ulFormat == STGFMT_ANY)) return STG_E_INVALIDPARAMETER;
    if (ulAttributes != 0 && !(bDocfile && ulAttributes == FILE_FLAG_NO_BUFFERING)) return STG_E_INVALIDPARAMETER;
    if (pOptions && (!bDocfile || pOptions->usVersion < 1 || pOptions->usVersion > 2 || pOptions->reserved != 0))
        return STG_E_INVALIDPARAMETER;
    return iid == IID_IStorage || iid == IID_IUnknown ? S_OK : E_NOINTERFACE;
}
} // namespace
} // namespace lum

HRESULT StgCreateDocfile(const WCHAR* pName, DWORD ulMode, DWORD ulReserved, IStorage** ppStorage)
{
    if (!ppStorage) return STG_E_INVALIDPOINTER;
    *ppStorage = nullptr;
    if (ulReserved != 0) return STG_E_INVALIDPARAMETER;
    return lum::Guarded([=] { return lum::Create(pName, ulMode, 3, ppStorage); });
}

HRESULT StgOpenStorage(const WCHAR* pName, IStorage* pPriority, DWORD ulMode, SNB ppExclude, DWORD ulReserved, IStorage** ppStorage)
{
    if (!ppStorage) return STG_E_INVALIDPOINTER;
    *ppStorage = nullptr;
    if (ulReserved != 0) return STG_E_INVALIDPARAMETER;
    if (!pPriority && !pName) return STG_E_INVALIDNAME;
    if (!pPriority) return lum::Guarded([=] { return lum::Open(pName, ulMode, ppExclude, ppStorage, nullptr); });

    STATSTG stat{};
    HRESULT hr = pPriority->Stat(&stat, STATFLAG_DEFAULT);
    pPriority->Release();
    if (SUCCEEDED(hr)) hr = lum::Guarded([&] { return lum::Open(stat.pwcsName, ulMode, ppExclude, ppStorage, nullptr); });
    CoTaskMemFree(stat.pwcsName);
    return hr;
}

HRESULT StgCreateStorageEx(const WCHAR* pName, DWORD ulMode, DWORD ulFormat, DWORD ulAttributes, STGOPTIONS* pOptions, void*,
                           REFIID iid, void** ppObject)
{
    if (!ppObject) return STG_E_INVALIDPOINTER;
    *ppObject = nullptr;
    const HRESULT hr = lum::CheckRest(ulFormat, ulAttributes, pOptions, iid, false);
    if (FAILED(hr)) return hr;
    const ULONG ulSector = pOptions ? pOptions->ulSectorSize : 512;
    if (ulSector != 512 && ulSector != 4096) return STG_E_INVALIDPARAMETER;
    if (ulSector == 4096 && (ulMode & STGM_SIMPLE)) return STG_E_INVALIDFLAG;
    const WORD uwVersion = ulSector == 512 ? 3 : 4;
    return lum::Guarded([=] { return lum::Create(pName, ulMode, uwVersion, reinterpret_cast<IStorage**>(ppObject)); });
}

HRESULT StgOpenStorageEx(const WCHAR* pName, DWORD ulMode, DWORD ulFormat, DWORD ulAttributes, STGOPTIONS* pOptions, void*,
                         REFIID iid, void** ppObject)
{
    if (!ppObject) return STG_E_INVALIDPOINTER;
    *ppObject = nullptr;
    const HRESULT hr = lum::CheckRest(ulFormat, ulAttributes, pOptions, iid, true);
    if (FAILED(hr)) return hr;
    if (!pName) return STG_E_INVALIDNAME;
    return lum::Guarded([=] { return lum::Open(pName, ulMode, nullptr, reinterpret_cast<IStorage**>(ppObject), pOptions); });
}

HRESULT StgIsStorageFile(const WCHAR* pName)
{
    return lum::Guarded([=] { return lum::IsStorageFile(pName); });
}

HRESULT StgSetTimes(const WCHAR* pName, const FILETIME* pCreated, const FILETIME* pAccessed, const FILETIME* pModified)
{
    if (!pName) return STG_E_INVALIDNAME;
    return lum::Guarded([=] { return lum::SetTimes(pName, pCreated, pAccessed, pModified); });
}
