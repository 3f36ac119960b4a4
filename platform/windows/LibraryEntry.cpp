// The system calls DllMain; the library's own entry does the work.
#include "Platform.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD ulReason, LPVOID)
{
    return LumLibraryEntry(ulReason);
}

void LumTellThreadEnd() {}
