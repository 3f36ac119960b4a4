// The folder of a user's key containers, and the files in it. Internal to platform/linux.
//
//  * Nothing in it counts that another user owns, or that others may read or write: NTE_PERM. No link is followed.
//  * It is the process user's, whoever the thread may work as with files: each call is made under the process's own identity.
//  * Errors are codes, 0 for done.
#pragma once

#include "Crypt.h"
#include "Secret.h"

#include <sys/types.h>

#include <string>

namespace lum
{
// While one lives, the thread works with files as its process; afterwards as it did. Not where it may not go back.
class ProcessIdentity
{
public:
    ProcessIdentity();
    ~ProcessIdentity();
    ProcessIdentity(const ProcessIdentity&) = delete;
    ProcessIdentity& operator=(const ProcessIdentity&) = delete;

private:
    const uid_t mUser; // the thread's
    const gid_t mGroup;
    bool mbChanged = false;
};

class KeyFolder
{
public:
    // Opens the folder; bMake: after making it if need be. NTE_BAD_KEYSET: there is none.
    KeyFolder() = default;
    ~KeyFolder();
    KeyFolder(const KeyFolder&) = delete;
    KeyFolder& operator=(const KeyFolder&) = delete;
    DWORD Open(bool bMake);
    DWORD TakeTurn(); // one process at a time from here to the destructor: for changes

    DWORD Read(const std::string& sFile, SecretBytes& bytes); // NTE_BAD_KEYSET: no such file
    DWORD Replace(const std::string& sFile, const SecretBytes& bytes);
    DWORD Remove(const std::string& sFile);

private:
    DWORD Write(const std::string& sFile, const SecretBytes& bytes);

    const ProcessIdentity mIdentity; // for as long as the folder is open
    int mFd = -1;
};
} // namespace lum
