// One open compound file: what stands behind a root storage. Internal to platform/linux.
//
//  * Holds the file's shares from its opening to its end, and deletes it then when the mode says so.
//  * In transacted mode the file has its old contents until Commit; what is not committed is gone with this object.
//  * One thread at a time.   * The engine's errors, and those named below.
#pragma once

#include "CompoundFile.h"
#include "Interfaces.h"

#include <string>

namespace lum
{
class RootBytes;

class RootFile
{
public:
    // Takes over the bytes, in which the compound file is yet to be made or opened.
    RootFile(std::unique_ptr<RootBytes> pBytes, DWORD ulMode, std::u16string sName);
    ~RootFile();
    RootFile(const RootFile&) = delete;
    RootFile& operator=(const RootFile&) = delete;

    CompoundFile& Compound() { return mCompound; }
    DWORD Mode() const { return mulMode; } // as it was asked for: STGM_
    bool IsTransacted() const { return (mulMode & STGM_TRANSACTED) != 0; }
    const std::u16string& Name() const { return msName; } // as it was given; of a file without a name, where it lies
    int Descriptor() const; // of the file, for its times

    // Commit: all of Compound's changes.  Errors: STG_E_NOTCURRENT (another open has committed since, and STGC_ONLYIFCURRENT),
    //   STG_E_LOCKVIOLATION (a priority open keeps others from it), STG_E_ACCESSDENIED (opened for reading).
    HRESULT Commit(DWORD ulFlags);
    HRESULT Revert();

private:
    std::unique_ptr<RootBytes> mpBytes;
    CompoundFile mCompound;
    const DWORD mulMode;
    const std::u16string msName;
};
} // namespace lum
