// The interfaces of compound files, their constants, and what their methods are given.
//
//  * A call goes by the place of the method in the interface: no virtual member may be added, moved or taken out.
//  * Names are at most 31 units. What is given out is counted; on failure it is null.
//  * Texts that a method gives out are the caller's to give back with CoTaskMemFree.
#pragma once

#include "../com/Interfaces.h"
#include "StorageCodes.h"

// Modes: one of access, one of sharing, and what is to happen.
#define STGM_READ 0x00000000u
#define STGM_WRITE 0x00000001u
#define STGM_READWRITE 0x00000002u
#define STGM_SHARE_EXCLUSIVE 0x00000010u
#define STGM_SHARE_DENY_WRITE 0x00000020u
#define STGM_SHARE_DENY_READ 0x00000030u
#define STGM_SHARE_DENY_NONE 0x00000040u
#define STGM_FAILIFTHERE 0x00000000u
#define STGM_CREATE 0x00001000u
#define STGM_DIRECT 0x00000000u
#define STGM_TRANSACTED 0x00010000u
#define STGM_CONVERT 0x00020000u
#define STGM_PRIORITY 0x00040000u
#define STGM_NOSCRATCH 0x00100000u
#define STGM_NOSNAPSHOT 0x00200000u
#define STGM_DIRECT_SWMR 0x00400000u
#define STGM_DELETEONRELEASE 0x04000000u
#define STGM_SIMPLE 0x08000000u

enum STGC : DWORD
{
    STGC_DEFAULT = 0,
    STGC_OVERWRITE = 1,
    STGC_ONLYIFCURRENT = 2,
    STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE = 4,
    STGC_CONSOLIDATE = 8
};
enum STGMOVE : DWORD { STGMOVE_MOVE = 0, STGMOVE_COPY = 1 };
enum STATFLAG : DWORD { STATFLAG_DEFAULT = 0, STATFLAG_NONAME = 1, STATFLAG_NOOPEN = 2 };
enum STGTY : DWORD { STGTY_STORAGE = 1, STGTY_STREAM = 2, STGTY_LOCKBYTES = 3, STGTY_PROPERTY = 4 };
enum STREAM_SEEK : DWORD { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };
#undef LOCK_WRITE // of the system's own, for locks that nobody takes any more
enum LOCKTYPE : DWORD { LOCK_WRITE = 1, LOCK_EXCLUSIVE = 2, LOCK_ONLYONCE = 4 };

struct STATSTG
{
    LPOLESTR pwcsName; // of a root: the file's name as it was given
    DWORD type;        // STGTY
    ULARGE_INTEGER cbSize;
    FILETIME mtime, ctime, atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
};

using SNB = LPOLESTR*; // names, ended by a null pointer

struct ISequentialStream : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Read(void* pTo, ULONG ulBytes, ULONG* pulRead) = 0;
    virtual HRESULT STDMETHODCALLTYPE Write(const void* pFrom, ULONG ulBytes, ULONG* pulWritten) = 0;
};

struct IStream : ISequentialStream
{
    virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD ulOrigin, ULARGE_INTEGER* pPosition) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream* pTo, ULARGE_INTEGER bytes, ULARGE_INTEGER* pRead,
                                             ULARGE_INTEGER* pWritten) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER at, ULARGE_INTEGER bytes, DWORD ulType) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER at, ULARGE_INTEGER bytes, DWORD ulType) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* pStat, DWORD ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IStream** ppStream) = 0;
};
using LPSTREAM = IStream*;

struct IEnumSTATSTG : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG ulCount, STATSTG* pStats, ULONG* pulFetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG ulCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumSTATSTG** ppEnum) = 0;
};

struct IStorage : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE CreateStream(const OLECHAR* pName, DWORD ulMode, DWORD ulReserved1, DWORD ulReserved2,
                                                   IStream** ppStream) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenStream(const OLECHAR* pName, void* pReserved1, DWORD ulMode, DWORD ulReserved2,
                                                 IStream** ppStream) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR* pName, DWORD ulMode, DWORD ulReserved1, DWORD ulReserved2,
                                                    IStorage** ppStorage) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenStorage(const OLECHAR* pName, IStorage* pPriority, DWORD ulMode, SNB ppExclude,
                                                  DWORD ulReserved, IStorage** ppStorage) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(DWORD ulExcluded, const IID* pExcluded, SNB ppExclude, IStorage* pTo) = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveElementTo(const OLECHAR* pName, IStorage* pTo, const OLECHAR* pNewName,
                                                    DWORD ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD ulFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumElements(DWORD ulReserved1, void* pReserved2, DWORD ulReserved3,
                                                   IEnumSTATSTG** ppEnum) = 0;
    virtual HRESULT STDMETHODCALLTYPE DestroyElement(const OLECHAR* pName) = 0;
    virtual HRESULT STDMETHODCALLTYPE RenameElement(const OLECHAR* pName, const OLECHAR* pNewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetElementTimes(const OLECHAR* pName, const FILETIME* pCreated, const FILETIME* pAccessed,
                                                      const FILETIME* pModified) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetClass(REFCLSID clsid) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetStateBits(DWORD ulBits, DWORD ulMask) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* pStat, DWORD ulFlags) = 0;
};
using LPSTORAGE = IStorage*;

inline constexpr IID IID_IEnumSTATSTG{0x0000000D, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IStorage{0x0000000B, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IStream{0x0000000C, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_ISequentialStream{0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
