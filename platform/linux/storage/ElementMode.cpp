#include "ElementMode.h"

namespace lum
{
namespace
{
constexpr DWORD kulAccess = 0x3, kulShare = 0x70;
constexpr DWORD kulKnown = kulAccess | kulShare | STGM_CREATE | STGM_TRANSACTED | STGM_CONVERT | STGM_PRIORITY |
                           STGM_DELETEONRELEASE | STGM_SIMPLE;
constexpr unsigned kAll = kCreateStream | kOpenStream | kCreateStorage | kOpenStorage;
constexpr unsigned kStreams = kCreateStream | kOpenStream, kStorages = kCreateStorage | kOpenStorage;

// Modes whose bits under the mask are these are refused. The first row that fits decides.
struct Refused
{
    unsigned uCalls;
    DWORD ulMask;
    DWORD ulBits;
    HRESULT hr;
};
constexpr Refused kRefused[] = {
    {kAll, kulAccess, kulAccess, STG_E_INVALIDFLAG},
    {kAll, kulShare, 0x00, STG_E_INVALIDFLAG},
    {kAll, kulShare, 0x50, STG_E_INVALIDFLAG},
    {kAll, kulShare, 0x60, STG_E_INVALIDFLAG},
    {kAll, kulShare, 0x70, STG_E_INVALIDFLAG},
    {kStreams, kulShare, STGM_SHARE_DENY_WRITE, STG_E_INVALIDFLAG},
    {kStreams, kulShare, STGM_SHARE_DENY_READ, STG_E_INVALIDFLAG},
    {kStreams, kulShare, STGM_SHARE_DENY_NONE, STG_E_INVALIDFLAG},
    {kStorages, kulShare, STGM_SHARE_DENY_WRITE, STG_E_INVALIDFUNCTION},
    {kStorages, kulShare, STGM_SHARE_DENY_READ, STG_E_INVALIDFUNCTION},
    {kStorages, kulShare, STGM_SHARE_DENY_NONE, STG_E_INVALIDFUNCTION},
    {kAll, STGM_CREATE | STGM_CONVERT, STGM_CREATE | STGM_CONVERT, STG_E_INVALIDFLAG},
    {kStreams, STGM_TRANSACTED, STGM_TRANSACTED, STG_E_INVALIDFUNCTION},
    {kCreateStorage, STGM_DELETEONRELEASE, STGM_DELETEONRELEASE, STG_E_INVALIDFLAG},
    {kAll, STGM_DELETEONRELEASE, STGM_DELETEONRELEASE, STG_E_INVALIDFUNCTION},
    {kAll, STGM_PRIORITY, STGM_PRIORITY, STG_E_INVALIDFUNCTION},
};
} // namespace

HRESULT CheckElementMode(ElementCall eCall, DWORD ulMode)
{
    if (ulMode & ~kulKnown) return STG_E_INVALIDFLAG;
    for (const Refused& row : kRefused)
        if ((row.uCalls & eCall) && (ulMode & row.ulMask) == row.ulBits) return row.hr;
    return S_OK;
}

HRESULT CheckElementAccess(DWORD ulStorageMode, DWORD ulMode)
{
    const DWORD ulHas = ulStorageMode & kulAccess;
    return ulHas == STGM_READWRITE || ulHas == (ulMode & kulAccess) ? S_OK : STG_E_ACCESSDENIED;
}
} // namespace lum
