// A stream on a handle, by way of the runtime's descriptors.
#include "Platform.h"

#include <fcntl.h>
#include <io.h>

FILE* LumOpenStream(HANDLE hFile, const char* pMode)
{
    const bool bReadOnly = pMode[0] == 'r' && pMode[1] != '+';
    const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(hFile), _O_BINARY | (bReadOnly ? _O_RDONLY : 0));
    return fd < 0 ? nullptr : _fdopen(fd, pMode);
}
