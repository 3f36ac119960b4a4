#include "StgMode.h"

#include "Interfaces.h"

namespace lum
{
namespace
{
constexpr DWORD kulAccess = 0x3, kulShare = 0x70;
constexpr DWORD kulKnown = kulAccess | kulShare | STGM_CREATE | STGM_TRANSACTED | STGM_CONVERT | STGM_PRIORITY | STGM_NOSCRATCH |
                           STGM_NOSNAPSHOT | STGM_DIRECT_SWMR | STGM_DELETEONRELEASE | STGM_SIMPLE;

// Accesses and shares as sets, so that a row can name several. No share at all is the same as denying nothing.
constexpr unsigned kuRead = 1, kuWrite = 2, kuReadWrite = 4, kuAnyAccess = 7;
constexpr unsigned kuUnsaid = 1, kuExclusive = 2, kuDenyWrite = 4, kuDenyRead = 8, kuDenyNone = 16, kuAnyShare = 31;

// A mode is good when a row allows its access and share, has all its flags, and the mode has all of those that the row needs.
struct ModeRow
{
    unsigned uAccesses, uShares;
    DWORD ulNeeded, ulAllowed;
};

constexpr unsigned kuOpenToWriters = kuUnsaid | kuDenyRead | kuDenyNone;
constexpr DWORD kulMade = STGM_CREATE | STGM_DELETEONRELEASE;

constexpr ModeRow kCreateRows[] = {
    {kuWrite | kuReadWrite, kuExclusive, 0, kulMade},
    {kuWrite | kuReadWrite, kuExclusive, 0, STGM_CONVERT},
    {kuReadWrite, kuExclusive, STGM_SIMPLE, kulMade},
    {kuReadWrite, kuExclusive, STGM_SIMPLE, STGM_CONVERT},
    {kuAnyAccess, kuAnyShare, STGM_TRANSACTED, kulMade | STGM_NOSCRATCH},
    {kuAnyAccess, kuAnyShare, STGM_TRANSACTED, STGM_CONVERT | STGM_NOSCRATCH},
    {kuAnyAccess, kuOpenToWriters, STGM_TRANSACTED | STGM_NOSNAPSHOT, STGM_DELETEONRELEASE},
};

constexpr ModeRow kOpenRows[] = {
    {kuRead, kuExclusive | kuDenyWrite, 0, 0},
    {kuWrite | kuReadWrite, kuExclusive, 0, 0},
    {kuRead, kuUnsaid | kuDenyNone, STGM_PRIORITY, 0},
    {kuRead | kuReadWrite, kuExclusive, STGM_SIMPLE, 0},
    {kuRead, kuDenyNone, STGM_DIRECT_SWMR, 0},
    {kuReadWrite, kuDenyWrite, STGM_DIRECT_SWMR, 0},
    {kuAnyAccess, kuAnyShare, STGM_TRANSACTED, STGM_NOSCRATCH},
    {kuAnyAccess, kuOpenToWriters, STGM_TRANSACTED | STGM_NOSNAPSHOT, 0},
};

template <std::size_t kulRows>
HRESULT CheckMode(DWORD ulMode, const ModeRow (&rows)[kulRows])
{
    const DWORD ulAccess = ulMode & kulAccess, ulShare = (ulMode & kulShare) >> 4, ulFlags = ulMode & ~(kulAccess | kulShare);
    if ((ulMode & ~kulKnown) || ulAccess > STGM_READWRITE || ulShare > STGM_SHARE_DENY_NONE >> 4) return STG_E_INVALIDFLAG;
    for (const ModeRow& row : rows)
    {
        const bool bFlags = (ulFlags & row.ulNeeded) == row.ulNeeded && (ulFlags & ~(row.ulNeeded | row.ulAllowed)) == 0;
        if (bFlags && (row.uAccesses >> ulAccess & 1) && (row.uShares >> ulShare & 1)) return S_OK;
    }
    return STG_E_INVALIDFLAG;
}
} // namespace

HRESULT CheckCreateMode(DWORD ulMode) { return CheckMode(ulMode, kCreateRows); }

HRESULT CheckOpenMode(DWORD ulMode)
{
    constexpr DWORD kulBoth = STGM_PRIORITY | STGM_DELETEONRELEASE;
    constexpr DWORD kulOthers = STGM_TRANSACTED | STGM_SIMPLE | STGM_NOSCRATCH | STGM_NOSNAPSHOT;
    const bool bPriority = (ulMode & kulBoth) == kulBoth && (ulMode & (kulOthers | ~kulKnown)) == 0;
    return bPriority ? STG_E_INVALIDFUNCTION : CheckMode(ulMode, kOpenRows);
}
} // namespace lum
