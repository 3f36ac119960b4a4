// Whether a person is looking on.
#include "Platform.h"

#include <io.h>

bool LumIsTerminal(std::FILE* pStream)
{
    if (!_isatty(_fileno(pStream))) return false;

    // A console takes escape sequences when it is asked to; one that cannot is treated like a file.
    const HANDLE hConsole = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(pStream)));
    DWORD ulMode = 0;
    return GetConsoleMode(hConsole, &ulMode) && SetConsoleMode(hConsole, ulMode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}
