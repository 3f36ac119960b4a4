// Whose files a thread may open: the file-system user, group and supplementary groups, which the kernel keeps for each thread.
#pragma once

#include <sys/types.h>

#include <vector>

struct OFileIdentity
{
    uid_t user = 0;
    gid_t group = 0;
    std::vector<gid_t> groups;
};

// MayChangeIdentity: whether the calling thread has the privileges for what follows.
bool MayChangeIdentity();

// OwnGroups: the supplementary groups of the calling thread.
std::vector<gid_t> OwnGroups();

// TakeIdentity: puts the calling thread, and no other, under an identity, and takes from it the privileges that pass by a file's
//   mode. False, and back to its own, when that is not possible.
// LeaveIdentity: back to the process's effective user and group, and to these supplementary groups.
//   A thread made by one under an identity begins under it too; for such a thread LeaveIdentity does the same.
bool TakeIdentity(const OFileIdentity& identity, const std::vector<gid_t>& ownGroups);
bool LeaveIdentity(const std::vector<gid_t>& ownGroups);
