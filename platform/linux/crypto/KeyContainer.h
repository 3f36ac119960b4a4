// A user's key containers on the disk, or one in memory. Internal to platform/linux.
//
//  * A container is a file of mode 0600 in keys-<user's number> below the state directory. It is read each time that one of its
//    pairs is asked for, so that what another process did to it counts at once.
//  * A change replaces the file as a whole; a process killed at any moment leaves the old one or the new one.
//  * Errors are codes, 0 for done: those that CryptAcquireContext names.
#pragma once

#include "KeyFile.h"
#include "RsaKey.h"

#include <memory>
#include <mutex>
#include <string>

namespace lum
{
struct UserPair
{
    RsaKey key;
    bool bExportable = false;
};

// The place of a pair in a container, for AT_KEYEXCHANGE and AT_SIGNATURE; -1 for anything else.
constexpr int PairIndex(DWORD ulKeySpec) { return ulKeySpec == AT_KEYEXCHANGE ? 0 : ulKeySpec == AT_SIGNATURE ? 1 : -1; }

class KeyContainer
{
public:
    virtual ~KeyContainer() = default;
    virtual const std::string& Name() const = 0;
    virtual DWORD Load(int iPair, UserPair& pair) = 0; // NTE_NO_KEY
    virtual DWORD Store(int iPair, const UserPair& pair) = 0;
};

// The name of a container as it is given: null or empty stands for the user's own.
DWORD ContainerName(LPCSTR pName, std::string& sName);

DWORD OpenContainer(const std::string& sName, std::shared_ptr<KeyContainer>& pContainer);
DWORD MakeContainer(const std::string& sName, std::shared_ptr<KeyContainer>& pContainer);
DWORD RemoveContainer(const std::string& sName);

// One without a name, which nothing else sees.
std::shared_ptr<KeyContainer> PassingContainer();
} // namespace lum
