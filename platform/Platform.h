// The one door to the operating system. Everything above this folder knows the system by its Windows names.
//
//  * On Windows these are the system's own.      * On Linux they are ours: the headers of linux/ say what exists.
//  * Every exported header includes this one first, so that names which Windows turns into macros are the same everywhere.
#pragma once

#ifdef _WIN32
#include "windows/PlatformWindows.h"
#else
#include "linux/PlatformLinux.h"
#endif

#include "PlatformCommon.h"
