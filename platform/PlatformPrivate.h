// What the systems add for secrets, with one meaning on both: a line typed unseen, and files of one's own. For programs; beside
// Platform.h, which is for everybody.
#pragma once

#include "Platform.h"

// LumReadHidden: writes the question to stderr and reads a line from the terminal that is the standard input, which does not show
//   it. In the code page, closed by a zero, without the line's end. What interrupts the program leaves the terminal as it was.
//   FALSE, and the room wiped, with: ERROR_INVALID_HANDLE (the standard input is no terminal), ERROR_HANDLE_EOF (it has ended),
//   ERROR_INSUFFICIENT_BUFFER (the line does not fit), ...
BOOL LumReadHidden(const char* pQuestion, char* pOut, DWORD ulRoom);

// LumMakePrivateFile: makes an empty file that nobody but its owner may read or write; on Windows, the system and its
//   administrators besides. FALSE with ERROR_FILE_EXISTS when there is one, and with the errors of CreateFileA.
BOOL LumMakePrivateFile(LPCSTR pName);
