// Whether a person is looking on.
#include "Platform.h"

#include <unistd.h>

bool LumIsTerminal(std::FILE* pStream) { return isatty(fileno(pStream)) == 1; }
