#include "FileIdentity.h"

#include <linux/capability.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace
{
constexpr std::uint64_t Bit(int iCapability) { return std::uint64_t{1} << iCapability; }

// With one of these a file's mode and owner do not matter.
constexpr std::uint64_t kulPasses = Bit(CAP_CHOWN) | Bit(CAP_DAC_OVERRIDE) | Bit(CAP_DAC_READ_SEARCH) | Bit(CAP_FOWNER) |
                                    Bit(CAP_FSETID) | Bit(CAP_LINUX_IMMUTABLE) | Bit(CAP_MKNOD) | Bit(CAP_MAC_OVERRIDE);

// What TakeIdentity took from the thread, and from any. The kernel does the same by itself, but only when user 0 becomes another.
thread_local std::uint64_t tulTaken = 0;
constinit std::atomic<std::uint64_t> gulTaken{0};

struct Capabilities
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0}; // 0: the calling thread
    __user_cap_data_struct aData[_LINUX_CAPABILITY_U32S_3] = {};

    bool Read() { return syscall(SYS_capget, &header, aData) == 0; }
    bool Write() { return syscall(SYS_capset, &header, aData) == 0; }
    std::uint64_t Effective() const { return aData[0].effective | std::uint64_t{aData[1].effective} << 32; }
    std::uint64_t Permitted() const { return aData[0].permitted | std::uint64_t{aData[1].permitted} << 32; }
    void SetEffective(std::uint64_t ulBits)
    {
        aData[0].effective = static_cast<std::uint32_t>(ulBits);
        aData[1].effective = static_cast<std::uint32_t>(ulBits >> 32);
    }
};

// The calls of the C library would change every thread of the process.
bool SetGroups(const std::vector<gid_t>& groups) { return syscall(SYS_setgroups, groups.size(), groups.data()) == 0; }

// Neither of the two tells whether it failed; asking for what cannot be tells what is.
uid_t UserNow() { return static_cast<uid_t>(setfsuid(static_cast<uid_t>(-1))); }
bool SetGroup(gid_t group)
{
    setfsgid(group);
    return setfsgid(static_cast<gid_t>(-1)) == static_cast<int>(group);
}
bool SetUser(uid_t user)
{
    setfsuid(user);
    return UserNow() == user;
}

bool TakePasses()
{
    Capabilities own;
    if (!own.Read()) return false;
    const std::uint64_t ulPasses = own.Effective() & kulPasses;
    if (!ulPasses) return true;
    own.SetEffective(own.Effective() & ~kulPasses);
    if (!own.Write()) return false;
    tulTaken |= ulPasses;
    gulTaken |= ulPasses;
    return true;
}

// From a thread that began under another identity they were taken before it was there.
bool GivePassesBack(bool bWasAnother)
{
    const std::uint64_t ulPasses = tulTaken || !bWasAnother ? tulTaken : gulTaken.load();
    if (!ulPasses) return true;
    Capabilities own;
    if (!own.Read()) return false;
    own.SetEffective(own.Effective() | (ulPasses & own.Permitted()));
    tulTaken = 0;
    return own.Write();
}
} // namespace

bool MayChangeIdentity()
{
    Capabilities own;
    constexpr std::uint64_t kulNeeded = Bit(CAP_SETUID) | Bit(CAP_SETGID);
    return own.Read() && (own.Effective() & kulNeeded) == kulNeeded;
}

std::vector<gid_t> OwnGroups()
{
    std::vector<gid_t> groups;
    int iCount = getgroups(0, nullptr);
    groups.resize(iCount > 0 ? static_cast<std::size_t>(iCount) : 0);
    iCount = getgroups(static_cast<int>(groups.size()), groups.data());
    groups.resize(iCount > 0 ? static_cast<std::size_t>(iCount) : 0);
    return groups;
}

bool TakeIdentity(const OFileIdentity& identity, const std::vector<gid_t>& ownGroups)
{
    if (SetGroups(identity.groups) && SetGroup(identity.group) && SetUser(identity.user) && (identity.user == 0 || TakePasses()))
        return true;
    LeaveIdentity(ownGroups);
    return false;
}

// Every step is tried, whatever became of the others.
bool LeaveIdentity(const std::vector<gid_t>& ownGroups)
{
    const bool bWasAnother = UserNow() != geteuid();
    const bool bUser = SetUser(geteuid());
    const bool bGroup = SetGroup(getegid());
    const bool bGroups = SetGroups(ownGroups);
    const bool bPasses = GivePassesBack(bWasAnother);
    return bUser && bGroup && bGroups && bPasses;
}
