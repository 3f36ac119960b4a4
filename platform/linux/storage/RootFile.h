// One open compound file: what stands behind a root storage. Internal to platform/linux.
//
//  * Holds the file's shares from its opening to its end, and deletes it then when the mode says so.
//  * In transacted mode the file has its old contents until Commit; what is not committed is gone with this object.
//    In direct mode, and for a single writer, what is not yet in the file is written by Commit: the last one comes before the end.
//  * One thread at a time.   * The engine's errors, and those named below.
#pragma once

#include "CompoundFile.h"
#include "Interfaces.h"
#include "ScratchBytes.h"
#include "StorageLocks.h"

#include <optional>
#include <string>

namespace lum
{
// The file itself, with what its opens know of each other. Without locks, this one is alone.
class DiskBytes final : public DescriptorBytes
{
public:
    DiskBytes(int fd, const StorageLocks* pLocks) : DescriptorBytes(fd), mpLocks(pLocks) {}
    bool MayReuse() override { return MayReuseIn(*this, mpLocks); }

private:
    const StorageLocks* const mpLocks;
};

class RootFile
{
public:
    // Takes over the handle of a file, whose descriptor that is.
    RootFile(HANDLE hFile, int fd, DWORD ulMode, std::u16string sName);
    ~RootFile();
    RootFile(const RootFile&) = delete;
    RootFile& operator=(const RootFile&) = delete;

    CompoundFile& Compound() { return *mpCompound; }
    DWORD Mode() const { return mulMode; } // as it was asked for: STGM_
    bool IsTransacted() const { return (mulMode & STGM_TRANSACTED) != 0; }
    const std::u16string& Name() const { return msName; } // as it was given; of a file without a name, where it lies
    int Descriptor() const { return mFd; } // of the file, for its times

    // Commit: all of Compound's changes.  Errors: STG_E_NOTCURRENT (another open has committed since, and STGC_ONLYIFCURRENT),
    //   STG_E_LOCKVIOLATION (a priority open keeps others from it), STG_E_ACCESSDENIED (opened for reading).
    HRESULT Commit(DWORD ulFlags);
    HRESULT Revert();

    // For those who open, one of them once, before anything else. When it fails, this object's end leaves the file as it was,
    // but for a direct Create of what was there before.
    HRESULT Open(); // also STG_E_FILEALREADYEXISTS: not a compound file
    // In a file that was made for this. It goes with this object unless it is kept, or others have opened it or committed in it.
    HRESULT Create(WORD uwVersion);     // also STG_E_FILEALREADYEXISTS: another one was quicker to create something there
    HRESULT CreateOver(WORD uwVersion); // what is there goes: now, or with the first commit of a transaction
    HRESULT Convert(WORD uwVersion);    // what is there becomes the stream CONTENTS: now, or with the first commit
    HRESULT Exclude(SNB ppNames);       // empties elements of the root
    HRESULT ReadSectorBytes(ULONG& ulBytes);
    void Keep() { mbTakeBack = false; }

private:
    HRESULT Begin();
    HRESULT OpenInTurn();
    HRESULT CreateInTurn(WORD uwVersion);
    void TakeBack();
    HRESULT Wrap(WORD uwVersion);
    HRESULT StartOver();
    HRESULT Publish();
    bool IsForeign();
    bool CanWrite() const { return (mulMode & 3) != STGM_READ; }
    StorageAccess Access() const;

    const HANDLE mhFile;
    const int mFd;
    const DWORD mulMode;
    const std::u16string msName;
    StorageLocks mLocks;
    DiskBytes mDisk;
    std::optional<ScratchBytes> mScratch; // when nothing may be written to the file before a commit
    std::unique_ptr<CompoundFile> mpCompound;
    ULONG mulCommits = 0;       // of the file, when we last saw it
    // How a transaction begins, until its first commit: with what is in the file, with nothing, or with its bytes as a stream.
    enum class Beginning { Found, Emptied, Converted } meBeginning = Beginning::Found;
    WORD muwWrapped = 0;        // the version of what was made around them
    bool mbOpen = false;
    bool mbTakeBack = false;    // the file was made for this and nothing came of it yet
    bool mbApart = false;       // another open's commit was overwritten: the file has our contents, but not our sectors
    std::optional<CompoundFile::Committed> mPublished; // what was committed before what came into the scratch, but not the file
};
} // namespace lum
