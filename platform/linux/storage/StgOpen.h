// Compound files by their names.
//
//  * Names are read as CreateFileW reads them. Modes that do not go together are STG_E_INVALIDFLAG.
//  * Shares hold between all opens of the library, in whichever process, CreateFile's included. One with a file open that denies
//    what is asked for gives STG_E_SHAREVIOLATION; one that is in the way of an open to be alone, STG_E_LOCKVIOLATION.
//  * What is given out is counted; on failure it is null.
//  * Errors of all: STG_E_FILENOTFOUND, STG_E_PATHNOTFOUND, STG_E_INVALIDNAME, STG_E_ACCESSDENIED (also: a folder, a device, a
//    read-only file to be written), STG_E_TOOMANYOPENFILES, STG_E_MEDIUMFULL, STG_E_DISKISWRITEPROTECTED, STG_E_INVALIDPOINTER (no
//    place for the result), STG_E_INVALIDPARAMETER (what must be 0), and others of CreateFileW as HRESULT_FROM_WIN32.
#pragma once

#include "Interfaces.h"

#define STGFMT_STORAGE 0
#define STGFMT_FILE 3
#define STGFMT_ANY 4
#define STGFMT_DOCFILE 5

struct STGOPTIONS
{
    USHORT usVersion; // 1, or 2 with what follows the size
    USHORT reserved;
    ULONG ulSectorSize;
    const WCHAR* pwcsTemplateFile;
};

// StgCreateDocfile: makes a compound file of 512-byte sectors. Without a name, one in the folder for temporary files, which stays
//   unless the mode has STGM_DELETEONRELEASE; Stat tells its name.
//   A file that is there: STG_E_FILEALREADYEXISTS; with STGM_CREATE it is emptied, with STGM_CONVERT its bytes become the stream
//   CONTENTS and the result is STG_S_CONVERTED. Transacted, that comes into the file with the first commit, and not before.
//   Not provided: both of them, transacted, and STGM_CONVERT, for files of 2 GB that are not compound files of such sectors.
HRESULT StgCreateDocfile(const WCHAR* pName, DWORD ulMode, DWORD ulReserved, IStorage** ppStorage);

// StgOpenStorage: opens one.
//   pPriority: another open of the file, given up for this one; the name is its then, as it was given.
//     It is released, whatever comes of the opening; not when ppStorage or ulReserved is not what it must be.
//   ppExclude: elements of the root that are emptied; names that it lacks are not looked at.
//   STGM_NOSNAPSHOT: not beside opens without it, and the other way round (STG_E_LOCKVIOLATION).
//   STGM_DIRECT_SWMR: readers see the state at their opening; the writer's changes are in the file with Commit and at its end,
//   unless a priority open keeps the last ones from it.
//   Errors: STG_E_FILEALREADYEXISTS (not a compound file), STG_E_INVALIDHEADER, STG_E_OLDFORMAT, STG_E_OLDDLL,
//   STG_E_DOCFILECORRUPT, STG_E_ACCESSDENIED (also: ppExclude in direct mode for reading).
//   Not provided: IDirectWriterLock.
HRESULT StgOpenStorage(const WCHAR* pName, IStorage* pPriority, DWORD ulMode, SNB ppExclude, DWORD ulReserved,
                       IStorage** ppStorage);

// StgCreateStorageEx, StgOpenStorageEx: the same with a choice of sectors.
//   Format: STGFMT_STORAGE and STGFMT_DOCFILE, for opening STGFMT_ANY too; others are STG_E_INVALIDPARAMETER.
//   pOptions, with STGFMT_DOCFILE alone: sectors of 512 bytes (the default) or 4096, not with STGM_SIMPLE; opening fills it in.
//   Attributes: 0, with STGFMT_DOCFILE also FILE_FLAG_NO_BUFFERING, which changes nothing. The security descriptor is not used.
//   iid: IID_IStorage or IID_IUnknown, else E_NOINTERFACE.
HRESULT StgCreateStorageEx(const WCHAR* pName, DWORD ulMode, DWORD ulFormat, DWORD ulAttributes, STGOPTIONS* pOptions,
                           void* pSecurityDescriptor, REFIID iid, void** ppObject);
HRESULT StgOpenStorageEx(const WCHAR* pName, DWORD ulMode, DWORD ulFormat, DWORD ulAttributes, STGOPTIONS* pOptions,
                         void* pSecurityDescriptor, REFIID iid, void** ppObject);

// StgIsStorageFile: S_OK when the file begins as a compound file does, S_FALSE when not; whoever has it open.
//   Errors: STG_E_FILENOTFOUND (whatever keeps the file from being found), STG_E_ACCESSDENIED.
HRESULT StgIsStorageFile(const WCHAR* pName);

// StgSetTimes: the times of the file, whoever has it open; null changes nothing. The time of making cannot be set here and is
//   not used.
HRESULT StgSetTimes(const WCHAR* pName, const FILETIME* pCreated, const FILETIME* pAccessed, const FILETIME* pModified);
