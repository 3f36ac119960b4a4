// Which modes of a root storage do not go together, as it is documented, and where Wine departs from that.
#pragma once

#include "Platform.h"

#include <iterator>

inline DWORD AccessOf(DWORD ulMode) { return ulMode & 3; }
inline DWORD ShareOf(DWORD ulMode) { return ulMode & 0x70; }
inline bool Has(DWORD ulMode, DWORD ulFlag) { return (ulMode & ulFlag) != 0; }
inline bool HasAll(DWORD ulMode, DWORD ulFlags) { return (ulMode & ulFlags) == ulFlags; }
inline bool IsMode(DWORD ulMode, DWORD ulAccess, DWORD ulShare)
{
    return AccessOf(ulMode) == ulAccess && ShareOf(ulMode) == ulShare;
}

struct ModeRule
{
    const char* pWhat;
    bool (*pForbids)(DWORD ulMode);
};

inline bool IsToLone(DWORD m) { return ShareOf(m) == STGM_SHARE_EXCLUSIVE || ShareOf(m) == STGM_SHARE_DENY_WRITE; }
inline bool IsWriting(DWORD m) { return AccessOf(m) == STGM_WRITE || AccessOf(m) == STGM_READWRITE; }

// No two of a group go together, and flags that ask for others.
inline constexpr ModeRule kCommonRules[] = {
    {"one access", [](DWORD m) { return AccessOf(m) == 3; }},
    {"one share", [](DWORD m) { return ShareOf(m) > STGM_SHARE_DENY_NONE; }},
    {"one way of creation", [](DWORD m) { return HasAll(m, STGM_CREATE | STGM_CONVERT); }},
    {"simple, or one writer and many readers", [](DWORD m) { return HasAll(m, STGM_SIMPLE | STGM_DIRECT_SWMR); }},
    {"no scratch, or no snapshot", [](DWORD m) { return HasAll(m, STGM_NOSCRATCH | STGM_NOSNAPSHOT); }},
    {"transactions alone have a scratch and snapshots",
     [](DWORD m) { return Has(m, STGM_NOSCRATCH | STGM_NOSNAPSHOT) && !Has(m, STGM_TRANSACTED); }},
    {"no snapshot is for those beside writers", [](DWORD m) { return Has(m, STGM_NOSNAPSHOT) && IsToLone(m); }},
    {"overwriting needs a snapshot", [](DWORD m) { return Has(m, STGM_NOSNAPSHOT) && Has(m, STGM_CREATE | STGM_CONVERT); }},
    {"simple is direct", [](DWORD m) { return HasAll(m, STGM_SIMPLE | STGM_TRANSACTED); }},
    {"one writer and many readers is direct", [](DWORD m) { return HasAll(m, STGM_DIRECT_SWMR | STGM_TRANSACTED); }},
    {"what is converted is not deleted", [](DWORD m) { return HasAll(m, STGM_CONVERT | STGM_DELETEONRELEASE); }},
    {"priority reads", [](DWORD m) { return Has(m, STGM_PRIORITY) && AccessOf(m) != STGM_READ; }},
    {"priority is direct and keeps the file",
     [](DWORD m)
     { return Has(m, STGM_PRIORITY) && Has(m, STGM_TRANSACTED | STGM_DELETEONRELEASE | STGM_SIMPLE | STGM_DIRECT_SWMR); }},
    {"priority is a share of its own",
     [](DWORD m) { return Has(m, STGM_PRIORITY) && ShareOf(m) != 0 && ShareOf(m) != STGM_SHARE_DENY_NONE; }},
};

inline constexpr ModeRule kCreateRules[] = {
    {"direct creation writes, alone",
     [](DWORD m) { return !Has(m, STGM_TRANSACTED) && !(IsWriting(m) && ShareOf(m) == STGM_SHARE_EXCLUSIVE); }},
    {"simple reads and writes", [](DWORD m) { return Has(m, STGM_SIMPLE) && !IsMode(m, STGM_READWRITE, STGM_SHARE_EXCLUSIVE); }},
    {"one writer and many readers is for files that are there", [](DWORD m) { return Has(m, STGM_DIRECT_SWMR); }},
};

inline constexpr ModeRule kOpenRules[] = {
    {"of creation alone", [](DWORD m) { return Has(m, STGM_CREATE | STGM_CONVERT | STGM_DELETEONRELEASE); }},
    {"direct writing is alone",
     [](DWORD m) {
         return !Has(m, STGM_TRANSACTED | STGM_DIRECT_SWMR) && IsWriting(m) && ShareOf(m) != STGM_SHARE_EXCLUSIVE;
     }},
    {"direct reading keeps writers out",
     [](DWORD m) { return !Has(m, STGM_TRANSACTED | STGM_DIRECT_SWMR | STGM_PRIORITY) && !IsWriting(m) && !IsToLone(m); }},
    {"simple is alone",
     [](DWORD m) {
         return Has(m, STGM_SIMPLE) && !IsMode(m, STGM_READWRITE, STGM_SHARE_EXCLUSIVE) &&
                !IsMode(m, STGM_READ, STGM_SHARE_EXCLUSIVE);
     }},
    {"one writer keeps writers out, many readers nobody",
     [](DWORD m) {
         return Has(m, STGM_DIRECT_SWMR) && !IsMode(m, STGM_READWRITE, STGM_SHARE_DENY_WRITE) &&
                !IsMode(m, STGM_READ, STGM_SHARE_DENY_NONE);
     }},
};

// What Wine forbids. It looks at neither deletion, priority nor single writers when it creates a file, and not at conversion when
// it opens one; but it wants a file that is created in a transaction to be written.
inline constexpr ModeRule kWineCommonRules[] = {
    {"one access", [](DWORD m) { return AccessOf(m) == 3; }},
    {"one share", [](DWORD m) { return ShareOf(m) > STGM_SHARE_DENY_NONE; }},
    {"one way of creation", [](DWORD m) { return HasAll(m, STGM_CREATE | STGM_CONVERT); }},
    {"transactions alone have a scratch and snapshots",
     [](DWORD m) { return Has(m, STGM_NOSCRATCH | STGM_NOSNAPSHOT) && !Has(m, STGM_TRANSACTED); }},
    {"no snapshot is for those beside writers", [](DWORD m) { return Has(m, STGM_NOSNAPSHOT) && IsToLone(m); }},
    {"simple is direct", [](DWORD m) { return HasAll(m, STGM_SIMPLE | STGM_TRANSACTED); }},
};
inline constexpr ModeRule kWineCreateRules[] = {
    {"creation writes", [](DWORD m) { return !IsWriting(m); }},
    {"direct creation is alone", [](DWORD m) { return !Has(m, STGM_TRANSACTED) && ShareOf(m) != STGM_SHARE_EXCLUSIVE; }},
};
inline constexpr ModeRule kWineOpenRules[] = {
    {"of creation alone", [](DWORD m) { return Has(m, STGM_CREATE); }},
    {"no priority here", [](DWORD m) { return Has(m, STGM_PRIORITY); }},
    {"direct opens keep writers out",
     [](DWORD m) {
         return !Has(m, STGM_TRANSACTED | STGM_DIRECT_SWMR) && !IsToLone(m);
     }},
    {"direct reading and writing is alone",
     [](DWORD m) { return !Has(m, STGM_TRANSACTED | STGM_DIRECT_SWMR) && IsMode(m, STGM_READWRITE, STGM_SHARE_DENY_WRITE); }},
    {"single writers deny writing or nothing",
     [](DWORD m) {
         return Has(m, STGM_DIRECT_SWMR) && ShareOf(m) != STGM_SHARE_DENY_WRITE && ShareOf(m) != STGM_SHARE_DENY_NONE;
     }},
};

template <std::size_t kulRules>
const char* Forbidden(const ModeRule (&rules)[kulRules], DWORD ulMode)
{
    for (const ModeRule& rule : rules)
        if (rule.pForbids(ulMode)) return rule.pWhat;
    return nullptr;
}

inline HRESULT CodeOfCreateMode(DWORD ulMode, bool bWine)
{
    const char* pWhat = bWine ? Forbidden(kWineCommonRules, ulMode) : Forbidden(kCommonRules, ulMode);
    if (!pWhat) pWhat = bWine ? Forbidden(kWineCreateRules, ulMode) : Forbidden(kCreateRules, ulMode);
    return pWhat ? STG_E_INVALIDFLAG : S_OK;
}

inline HRESULT CodeOfOpenMode(DWORD ulMode, bool bWine)
{
    // The one combination with a code of its own.
    constexpr DWORD kulNotWithPriority = STGM_TRANSACTED | STGM_SIMPLE | STGM_NOSCRATCH | STGM_NOSNAPSHOT;
    const bool bPriority = Has(ulMode, STGM_PRIORITY) && !Has(ulMode, kulNotWithPriority);
    if (bPriority && Has(ulMode, STGM_DELETEONRELEASE)) return STG_E_INVALIDFUNCTION;
    if (bWine && bPriority) return AccessOf(ulMode) == STGM_READ && !Has(ulMode, STGM_CREATE) ? S_OK : STG_E_INVALIDFLAG;
    const char* pWhat = bWine ? Forbidden(kWineCommonRules, ulMode) : Forbidden(kCommonRules, ulMode);
    if (!pWhat) pWhat = bWine ? Forbidden(kWineOpenRules, ulMode) : Forbidden(kOpenRules, ulMode);
    return pWhat ? STG_E_INVALIDFLAG : S_OK;
}
