// The library's load and unload sequence, by the loader's reason code.
#include "Platform.h"

BOOL LumLibraryEntry(DWORD ulReason)
{
    (void)ulReason;
    return TRUE;
}
