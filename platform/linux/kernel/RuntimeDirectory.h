// The directory of a user's named objects. Internal to platform/linux.
//
// It is <LUMBASE_RUNTIME>/lumbase when that is set, else /dev/shm/lumbase-<user's number>, else <XDG_RUNTIME_DIR>/lumbase, else run
// below the state directory: the first that is, or can be made, the user's own. The one in /dev/shm comes before the session's, since a
// user's programs have a session or not (services, timed jobs), and all of them are to meet.
//
// Nothing lies in it but the files of named objects. A lock on the directory itself makes those who create, open and close them
// take turns; it is held for a few system calls.
#pragma once

#include <string>

namespace lum
{
// One turn, of this process and among all of them. A fork waits for the end of it, so that no child has its lock.
class DirectoryTurn
{
public:
    // bMake: makes the directory when it is missing. Sets the last error when the turn cannot be had.
    explicit DirectoryTurn(bool bMake);
    ~DirectoryTurn();
    DirectoryTurn(const DirectoryTurn&) = delete;
    DirectoryTurn& operator=(const DirectoryTurn&) = delete;

    explicit operator bool() const { return mFd >= 0; }
    int Fd() const { return mFd; }

    // Removes a file that no process holds (see NamedFile.h), when there is one of that name.
    void RemoveUnheld(const char* pFile) const;
    // Removes all of them, now and then: often enough that they cannot pile up, seldom enough to cost next to nothing.
    void Sweep() const;

private:
    int mFd = -1;
};
} // namespace lum
