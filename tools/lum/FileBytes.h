// Whole files, read and replaced.
#pragma once

#include "Platform.h"

#include <string>
#include <string_view>

namespace tool
{
// Throws Stop with the system's reason.
std::string ReadFileBytes(const std::string& sPath);

// The size of a file on a disk; throws Stop for anything else.
unsigned long long SizeOfFile(const std::string& sPath);

// CheckNoFolder: throws Stop when there is a folder of that name.
void CheckNoFolder(const std::string& sPath);

// Whether two names lead to one file that exists, whichever way they are spelled.
bool AreOneFile(const std::string& sFirst, const std::string& sSecond);

enum class Readers { AsUsual, OwnerAlone };

// Keeps everybody from writing to a file. Who does already is waited for, a few seconds; Stop is thrown then.
class WriteHold
{
public:
    explicit WriteHold(const std::string& sPath);
    ~WriteHold();
    WriteHold(const WriteHold&) = delete;
    WriteHold& operator=(const WriteHold&) = delete;

    HANDLE Release(); // the handle: who takes it closes it

private:
    HANDLE mhFile;
};

// The new contents of a file, which stand under its name as a whole or not at all, after a power cut too: they are written
// beside it, to a name that was free, and put in its place at the end. Until then nobody else may read them; then whoever might
// read the old ones, or a new file, unless they are the owner's alone. A link stays one. A pipe or a device has nothing to replace
// and is written to. One at a time. All throws Stop with the system's reason.
class NewFile
{
public:
    explicit NewFile(const std::string& sPath, Readers eReaders = Readers::AsUsual);
    ~NewFile(); // what was not put in place is gone, and so it is when the program is interrupted (on Linux)
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    const std::string& Path() const { return msNew; } // the name to write to
    void PutInPlace(WriteHold* pHold = nullptr); // of the file to be replaced, up to its end
    // Unless a file that is not empty has come there meanwhile: false then, and nothing is done. In one step. Who has an empty one
    // open is waited for, a few seconds; Stop is thrown then.
    bool PutInFreePlace();

private:
    void Complete();
    void Keep();

    const std::string msPath, msTarget, msNew;
    const Readers meReaders;
    bool mbBeside;
};

void ReplaceFileBytes(const std::string& sPath, std::string_view sBytes, Readers eReaders = Readers::AsUsual);
} // namespace tool
