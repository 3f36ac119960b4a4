// The directory under which everything that lasts is kept.
#pragma once

#include <string>

namespace lum
{
// StateHome: LUMBASE_HOME, else /var/lib/lumbase when it exists and is writable, else $XDG_DATA_HOME/lumbase, else
//   ~/.local/share/lumbase. Absolute, without a trailing slash. Decided once per process; the directory need not exist.
const std::string& StateHome();

// EnsureStateHome: makes the directory when it is missing, with those above it; mode 0700.
//   Errors: ERROR_ACCESS_DENIED, ERROR_DISK_FULL, ERROR_PATH_NOT_FOUND (something on the way is not a directory), ...
bool EnsureStateHome();

// EnsureDirectory: makes an absolute directory and those above it that are missing, mode 0700. Errors as above.
bool EnsureDirectory(const std::string& sPath);
} // namespace lum
