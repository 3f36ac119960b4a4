// The Windows headers, without the macros that would break standard C++.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#include <oleauto.h>
#include <wincrypt.h>
#undef GetCurrentTime // GetTickCount by an old name; to us a member of CTime

#include <float.h>
#include <mbctype.h>
#undef _M1 // <mbctype.h> takes names that the standard library uses for its own
#undef _M2
#include <mbstring.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
