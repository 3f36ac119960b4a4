// What the systems add for programs, with one meaning on both: a line typed unseen, files of one's own until they are complete,
// streams of bytes, and a look into damaged files.
// For programs; beside Platform.h, which is for everybody.
#pragma once

#include "Platform.h"

#include <cstddef>
#include <cstdio>

// LumReadHidden: writes the question to stderr and reads a line from the terminal that is the standard input, which does not show
//   it. In the code page, closed by a zero, without the line's end. What interrupts the program leaves the terminal as it was.
//   FALSE, and the room wiped, with: ERROR_INVALID_HANDLE (the standard input is no terminal), ERROR_HANDLE_EOF (it has ended),
//   ERROR_INSUFFICIENT_BUFFER (the line does not fit), ERROR_NO_UNICODE_TRANSLATION (a character that the code page lacks), ...
BOOL LumReadHidden(const char* pQuestion, char* pOut, DWORD ulRoom);

// LumMakePrivateFile: makes an empty file that nobody but its owner may read or write; on Windows, the system and its
//   administrators besides. FALSE with ERROR_FILE_EXISTS when there is one, and with the errors of CreateFileA.
BOOL LumMakePrivateFile(LPCSTR pName);

// LumShareAs: gives a private file the rights of another, which it is about to replace: on Linux its mode, and its group (or no
//   rights for the group where that may not be given), on Windows its list of access. Where there is no such file, the rights that
//   a new file has there. FALSE with the errors of CreateFileA.
BOOL LumShareAs(LPCSTR pPrivate, LPCSTR pOther);

// LumReplaceHeld: as MoveFileExA with MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH, for a file that this program holds open
//   for reading, so that nobody changes it meanwhile; the handle is closed in any case. Nobody comes in between on Linux. On
//   Windows a file that is open is never replaced, so it is closed just before.
BOOL LumReplaceHeld(HANDLE hHeld, LPCSTR pNew, LPCSTR pHeld);

// LumRemoveAtInterrupt: from now on the file is removed when SIGINT, SIGTERM or SIGHUP ends the program, unless they are ignored;
//   null, or another name, ends that for the one before. On Windows nothing happens: there, nobody can remove an open file.
//   FALSE with ERROR_FILENAME_EXCED_RANGE for a name that is too long, and with the errors of CreateFileA.
BOOL LumRemoveAtInterrupt(LPCSTR pName);

// LumOpenStandardStreams: what the program was given closed of the standard input, output and error fails when it is read or
//   written, and no file that is opened later gets its place.
void LumOpenStandardStreams();

// LumMakeBinary: from now on the stream passes bytes on as they are.
void LumMakeBinary(std::FILE* pStream);

// LumBytesLeft: how many bytes there are from a stream's position to its end; 0 when nobody knows, as of a pipe.
ULONGLONG LumBytesLeft(std::FILE* pStream);

// LumIsFile: whether a stream comes from the file of that name, or goes there.
BOOL LumIsFile(std::FILE* pStream, LPCSTR pName);

// LumCheckStorage: looks at all of a compound file and tells what is wrong, and where, in UTF-8. Writes nothing. pAt is told how
//   many of the file's bytes it has gone through, now and then.
//   Linux: every chain, and every sector's owner. Windows: what comes of opening and reading everything, as deep as
//   kuDeepestStorage.
//   Returns those of StgOpenStorage when there is no way to begin.
constexpr std::size_t kuDeepestStorage = 500; // in one another, the root not counted: programs go no deeper, and nobody means more
using LumStorageDamage = void (*)(void* pContext, const char* pWhere, const char* pWhat);
using LumStorageProgress = void (*)(void* pContext, ULONGLONG ullDone, ULONGLONG ullBytes);
HRESULT LumCheckStorage(LPCWSTR pFile, LumStorageDamage pTell, LumStorageProgress pAt, void* pContext);
