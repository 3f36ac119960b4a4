#include "RootFile.h"

#include "../kernel/FileRemoval.h"
#include "../kernel/FileShare.h"
#include "../kernel/Files.h"
#include "../kernel/Handles.h"
#include "RootContents.h"
#include "WrapBytes.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <utility>

namespace lum
{
namespace
{
// Of a file that somebody else may change while it is open.
bool OthersMayWrite(DWORD ulMode)
{
    const DWORD ulShare = ulMode & 0x70;
    return ulShare != STGM_SHARE_EXCLUSIVE && ulShare != STGM_SHARE_DENY_WRITE;
}

bool IsAlone(DWORD ulMode) { return (ulMode & 0x70) == STGM_SHARE_EXCLUSIVE; }

// A new file is there after a power cut only when its folder says so.
void FlushFolderOf(int fd)
{
    char acPath[4096];
    if (!PathOf(fd, acPath)) return;
    std::strrchr(acPath, '/')[1] = '\0';
    const int fdFolder = open(acPath, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
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
    if (mbTakeBack) TakeBack();
    else if (mbOpen && (mulMode & STGM_DELETEONRELEASE)) DeleteFileOf(mFd);
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
    HRESULT hr = mulMode & STGM_PRIORITY ? mLocks.SetPriority() : S_OK;
    if (SUCCEEDED(hr)) hr = mLocks.Enter((mulMode & STGM_NOSNAPSHOT) != 0);
    if (SUCCEEDED(hr)) hr = ReadCommits(mDisk, mulCommits);
    if (SUCCEEDED(hr) && OthersMayWrite(mulMode)) hr = mLocks.Pin(mulCommits);
    if (SUCCEEDED(hr) && mScratch) hr = mScratch->Begin();
    return hr;
}

HRESULT RootFile::Open()
{
    const StorageLocks::Turn turn(mLocks, false);
    return FAILED(turn.Result()) ? turn.Result() : OpenInTurn();
}

HRESULT RootFile::OpenInTurn()
{
    HRESULT hr = Begin();
    if (FAILED(hr)) return hr;
    mpCompound = std::make_unique<CompoundFile>(mScratch ? static_cast<StorageBytes&>(*mScratch) : mDisk);
    hr = mpCompound->Open(Access());
    mbOpen = SUCCEEDED(hr);
    return hr == STG_E_INVALIDHEADER && IsForeign() ? STG_E_FILEALREADYEXISTS : hr;
}

bool RootFile::IsForeign()
{
    CfHeader header;
    const HRESULT hr = ReadHeader(mDisk, header);
    if (FAILED(hr)) return hr == STG_E_INVALIDHEADER;
    return std::memcmp(header.aubMagic, kaubCfMagic, sizeof kaubCfMagic) != 0;
}

HRESULT RootFile::ReadSectorBytes(ULONG& ulBytes)
{
    CfHeader header;
    const HRESULT hr = ReadHeader(mDisk, header);
    ulBytes = header.uwMajor == 3 ? 512 : 4096;
    return hr;
}

HRESULT RootFile::Create(WORD uwVersion)
{
    const StorageLocks::Turn turn(mLocks, true);
    ULONGLONG ullBytes = 0;
    HRESULT hr = turn.Result();
    if (FAILED(hr)) TakeBackFile(mFd);
    if (SUCCEEDED(hr)) hr = mDisk.Size(ullBytes);
    if (SUCCEEDED(hr) && ullBytes > 0) hr = STG_E_FILEALREADYEXISTS;
    if (FAILED(hr)) return hr;
    try { hr = CreateInTurn(uwVersion); }
    catch (const std::bad_alloc&) { hr = STG_E_INSUFFICIENTMEMORY; }
    mbTakeBack = SUCCEEDED(hr);
    if (SUCCEEDED(hr)) return hr;

    // As it was found: who opened it meanwhile has seen nothing else, and has not committed.
    mbOpen = false;
    mDisk.SetSize(0);
    TakeBackFile(mFd);
    return hr;
}

HRESULT RootFile::CreateInTurn(WORD uwVersion)
{
    CompoundFile file(mDisk);
    HRESULT hr = file.Create(uwVersion, StorageAccess::Transacted);
    if (SUCCEEDED(hr)) hr = OpenInTurn();
    if (SUCCEEDED(hr) && !(mulMode & STGM_DELETEONRELEASE)) FlushFolderOf(mFd);
    return hr;
}

// Nobody else comes in any more: what has been committed is all that there will be.
void RootFile::TakeBack()
{
    ULONG ulCommits = 0;
    if (ClaimAlone(mFd) && SUCCEEDED(ReadCommits(mDisk, ulCommits)) && ulCommits == mulCommits) DeleteFileOf(mFd);
}

HRESULT RootFile::CreateOver(WORD uwVersion)
{
    if (!IsTransacted())
    {
        CompoundFile file(mDisk);
        const HRESULT hr = file.Create(uwVersion, StorageAccess::Direct);
        return SUCCEEDED(hr) ? Open() : hr;
    }
    CfHeader header;
    HRESULT hr = ReadHeader(mDisk, header);
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
        const HRESULT hr = mpCompound->Empty(kulRootEntry);
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
    if (SUCCEEDED(hr)) hr = Publish();
    mbOpen = false;
    mpCompound.reset();
    mScratch.reset();
    return SUCCEEDED(hr) ? Open() : hr;
}

// Makes a compound file around what is there, in the scratch: the file becomes one with the first commit.
HRESULT RootFile::Wrap(WORD uwVersion)
{
    const StorageLocks::Turn turn(mLocks, false);
    HRESULT hr = turn.Result();
    if (SUCCEEDED(hr)) hr = Begin();
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
            hr = entry.eKind == EntryKind::Stream ? mpCompound->Resize(ulEntry, 0) : mpCompound->Empty(ulEntry);
    }
    return hr;
}
} // namespace lum
