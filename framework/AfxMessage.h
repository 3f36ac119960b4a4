// Message boxes of the framework.
#pragma once

#include "Platform.h"

// AfxMessageBox: shows a notice under the program's name, through LumMessageBox; returns the button.
//   The box has its one OK button whatever uType asks for; uHelpId is not used.
int AfxMessageBox(const char* pText, UINT uType = MB_OK, UINT uHelpId = 0);

// AfxGetAppName: the program's file name without folder and extension.
const char* AfxGetAppName();
