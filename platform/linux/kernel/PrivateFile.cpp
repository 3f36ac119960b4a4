// Files that are their owner's alone from the first moment on.
#include "PlatformPrivate.h"

#include "Errno.h"
#include "Paths.h"

#include <fcntl.h>
#include <unistd.h>

BOOL LumMakePrivateFile(LPCSTR pName)
{
    lum::SystemPath path;
    if (!lum::ToSystemPath(pName, path)) return FALSE;
    if (path.bFolder) return lum::Fail(ERROR_INVALID_NAME);
    if (lum::FindSpelling(path.sPath) == lum::PathFound::Whole) return lum::Fail(ERROR_FILE_EXISTS);
    const int fd = open(path.sPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return errno == EEXIST   ? lum::Fail(ERROR_FILE_EXISTS)
               : errno == ENOENT ? lum::Fail(ERROR_PATH_NOT_FOUND)
                                 : lum::FailErrno();
    close(fd);
    return TRUE;
}
