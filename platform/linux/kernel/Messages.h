// Message boxes.
#pragma once

#include "Types.h"

#define MB_OK 0x00000000
#define MB_OKCANCEL 0x00000001
#define MB_YESNO 0x00000004
#define MB_ICONSTOP 0x00000010
#define MB_ICONERROR 0x00000010
#define MB_ICONQUESTION 0x00000020
#define MB_ICONEXCLAMATION 0x00000030
#define MB_ICONWARNING 0x00000030
#define MB_ICONINFORMATION 0x00000040
#define MB_SYSTEMMODAL 0x00001000
#define MB_TASKMODAL 0x00002000

#define IDOK 1
#define IDCANCEL 2

// MessageBoxA: shows a notice where LUMBASE_MESSAGES says:
//   stderr (also when it is unset)  one line, "[caption] text"
//   file:PATH                       the same line, appended to PATH
//   desktop                         a dialog by zenity, kdialog or xmessage; waits until it is closed
//   What cannot be shown there goes to stderr. Line breaks in a line are written as \r and \n.
//   A null text is empty, a null caption is "Error". Always an OK button, whatever uType asks for: returns IDOK.
//   The last error stays as it was.
int MessageBoxA(HWND hOwner, LPCSTR pText, LPCSTR pCaption, UINT uType);
