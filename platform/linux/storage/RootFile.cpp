#include "RootFile.h"

#include "../kernel/Files.h"
#include "../kernel/Handles.h"
#include "RootContents.h"
#include "WrapBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <utility>

namespace lum
{
namespace
{
// Of a file that somebody else may change while it is open, or that may not be written to at all.
bool OthersMayWrite(DWORD ulMode)
{
    const DWORD ulShare = ulMode & 0x70;
    return ulShare != STGM_SHARE_EXCLUSIVE && ulShare != STGM_SHARE_DENY_WRITE;
}

bool IsAlone(DWORD ulMode) { return (ulMode & 0x70) == STGM_SHARE_EXCLUSIVE; }

std::string PathOf(int fd)
{
    char acPath[4096];
    const ssize_t lLength = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), acPath, sizeof acPath);
    return lLength > 0 ? std::string(acPath, static_cast<std::size_t>(lLength)) : std::string();
}

// Wherever the file has been moved to, unless that name leads to another one by now.
void DeleteFileOf(int fd)
{
    struct stat ours{}, theirs{};
    const std::string sPath = PathOf(fd);
    const bool bSame = !sPath.empty() && fstat(fd, &ours) == 0 && lstat(sPath.c_str(), &theirs) == 0 &&
                       ours.st_dev == theirs.st_dev && ours.st_ino == theirs.st_ino;
    if (bSame) unlink(sPath.c_str());
}

// A new file is there after a power cut only when its folder says so.
void FlushFolderOf(int fd)
{
    const std::string sPath = PathOf(fd);
    const int fdFolder = open(sPath.substr(0, sPath.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fdFolder < 0) return;
    fsync(fdFolder);
    close(fdFolder);
}
} // namespace

RootFile::RootFile(HANDLE hFile, int fd, DWORD ulMode, std::u16string sName)
    : mhFile(hFile), mFd(fd), mulMode(ulMode), msName(std::move(sName)), mLocks(fd), mDisk(fd, IsAlone(ulMode) ? nullptr : &mLocks)
{
}

RootFile::~RootFile()
{
    const bool bDelete = mbTakeBack || (mbOpen && (mulMode & STGM_DELETEONRELEASE));
    if (bDelete) DeleteFileOf(mFd);
    else if (mbOpen && !mScratch) mpCompound->Abandon();
    CloseHandle(mhFile);
}

StorageAccess RootFile::Access() const
{
    // A single writer among readers commits as in a transaction: what they read stays as it is.
    if (mulMode & (STGM_TRANSACTED | STGM_DIRECT_SWMR))
        return mScratch || CanWrite() ? StorageAccess::Transacted : StorageAccess::Read;
    return CanWrite() ? StorageAccess::Direct : StorageAccess::Read;
}

// Enters among the other opens. Nobody commits while this goes on.
HRESULT RootFile::Begin()
{
    if (IsTransacted() && (OthersMayWrite(mulMode) || !CanWrite())) mScratch.emplace(mDisk, IsAlone(mulMode) ? nullptr : &mLocks);
    if (mulMode & STGM_PRIORITY) mLocks.SetPriority();
    HRESULT hr = mLocks.Enter((mulMode & STGM_NOSNAPSHOT) != 0);
    if (SUCCEEDED(hr)) hr = ReadCommits(mDisk, mulCommits);
    if (OthersMayWrite(mulMode)) mLocks.Pin(mulCommits);
    if (SUCCEEDED(hr) && mScratch) hr = mScratch->Begin();
    return hr;
}

HRESULT RootFile::Open()
{
    const StorageLocks::Turn turn(mLocks, false);
    HRESULT hr = Begin();
    if (FAILED(hr)) return hr;
    mpCompound = std::make_unique<CompoundFile>(mScratch ? static_cast<StorageBytes&>(*mScratch) : mDisk);
    hr = mpCompound->Open(Access());
    mbOpen = SUCCEEDED(hr);
    return hr == STG_E_INVALIDHEADER && IsForeign() ? STG_E_FILEALREADYEXISTS : hr;
}

bool RootFile::IsForeign()
{
    CfHeader header{};
    std::size_t ulRead = 0;
    const HRESULT hr = mDisk.Read(0, &header, sizeof header, ulRead);
    return SUCCEEDED(hr) && (ulRead < sizeof header || std::memcmp(header.aubMagic, kaubCfMagic, sizeof kaubCfMagic) != 0);
}

HRESULT RootFile::ReadSectorBytes(ULONG& ulBytes)
{
    CfHeader header{};
    std::size_t ulRead = 0;
    const HRESULT hr = mDisk.Read(0, &header, sizeof header, ulRead);
    ulBytes = header.uwMajor == 3 ? 512 : 4096;
    return hr;
}

HRESULT RootFile::Create(WORD uwVersion)
{
    mbTakeBack = true;
    CompoundFile file(mDisk);
    HRESULT hr = file.Create(uwVersion, StorageAccess::Transacted);
    if (SUCCEEDED(hr)) hr = Open();
    if (FAILED(hr)) return hr;
    mbTakeBack = false;
    if (!(mulMode & STGM_DELETEONRELEASE)) FlushFolderOf(mFd);
    return S_OK;
}

HRESULT RootFile::CreateOver(WORD uwVersion)
{
    if (!IsTransacted())
    {
        CompoundFile file(mDisk);
        const HRESULT hr = file.Create(uwVersion, StorageAccess::Direct);
        return SUCCEEDED(hr) ? Open() : hr;
    }
    CfHeader header{};
    std::size_t ulRead = 0;
    HRESULT hr = mDisk.Read(0, &header, sizeof header, ulRead);
    if (SUCCEEDED(hr)) hr = CheckHeader(header);
    if (SUCCEEDED(hr) && header.uwMajor == uwVersion) hr = Open();
    meBeginning = Beginning::Emptied;
    if (SUCCEEDED(hr) && mbOpen && SUCCEEDED(StartOver())) return S_OK;

    // What is there cannot be taken out piece by piece: it goes as a whole.
    mbOpen = false;
    hr = Wrap(uwVersion);
    return SUCCEEDED(hr) ? StartOver() : hr;
}

HRESULT RootFile::StartOver()
{
    if (meBeginning == Beginning::Found) return S_OK;
    if (meBeginning == Beginning::Emptied)
    {
        const HRESULT hr = EmptyStorage(*mpCompound, kulRootEntry);
        return SUCCEEDED(hr) ? mpCompound->SetProperties(kulRootEntry, CLSID{}, 0, FILETIME{}, FILETIME{}) : hr;
    }
    ULONGLONG ullBytes = 0;
    ULONG ulEntry = 0;
    HRESULT hr = mDisk.Size(ullBytes);
    if (SUCCEEDED(hr)) hr = mpCompound->Find(kulRootEntry, u"CONTENTS", ulEntry);
    return SUCCEEDED(hr) && ullBytes < kulCutoff ? mpCompound->Resize(ulEntry, ullBytes) : hr;
}

HRESULT RootFile::Convert(WORD uwVersion)
{
    meBeginning = Beginning::Converted;
    HRESULT hr = Wrap(uwVersion);
    if (SUCCEEDED(hr)) hr = StartOver();
    if (FAILED(hr) || IsTransacted()) return hr;

    hr = mpCompound->Commit();
    if (SUCCEEDED(hr)) hr = mScratch->Publish();
    mbOpen = false;
    mpCompound.reset();
    mScratch.reset();
    return SUCCEEDED(hr) ? Open() : hr;
}

// Makes a compound file around what is there, in the scratch: the file becomes one with the first commit.
HRESULT RootFile::Wrap(WORD uwVersion)
{
    const StorageLocks::Turn turn(mLocks, false);
    HRESULT hr = Begin();
    if (!mScratch) mScratch.emplace(mDisk, IsAlone(mulMode) ? nullptr : &mLocks);
    if (SUCCEEDED(hr)) hr = mScratch->Begin();
    if (SUCCEEDED(hr)) hr = WrapBytes(*mScratch, uwVersion);
    muwWrapped = uwVersion;
    mpCompound = std::make_unique<CompoundFile>(*mScratch);
    if (SUCCEEDED(hr)) hr = mpCompound->Open(StorageAccess::Transacted);
    mbOpen = SUCCEEDED(hr);
    return hr;
}

HRESULT RootFile::Exclude(SNB ppNames)
{
    HRESULT hr = Access() == StorageAccess::Read ? STG_E_ACCESSDENIED : S_OK;
    for (; *ppNames && SUCCEEDED(hr); ++ppNames)
    {
        const std::u16string sName(reinterpret_cast<const char16_t*>(*ppNames));
        CfEntry entry;
        ULONG ulEntry = 0;
        hr = mpCompound->Find(kulRootEntry, sName, ulEntry);
        if (hr == STG_E_FILENOTFOUND)
        {
            hr = S_OK; // nothing to empty
            continue;
        }
        if (SUCCEEDED(hr)) hr = mpCompound->Get(ulEntry, entry);
        if (SUCCEEDED(hr))
            hr = entry.eKind == EntryKind::Stream ? mpCompound->Resize(ulEntry, 0) : EmptyStorage(*mpCompound, ulEntry);
    }
    return hr;
}
} // namespace lum
