// The resource libraries that the process has loaded. Internal to platform/linux.
//
//  * A module's value is never an address: it is looked up, and differs from use to use of a place in the table.
//  * A file that is loaded already is counted once more and not read again.
//  * Any thread.
#pragma once

#include "PeImage.h"

#include <memory>

namespace lum
{
struct Module
{
    std::unique_ptr<BYTE[]> pBytes; // the whole file
    PeImage image;
};

// OpenModule: loads the file at that path, or counts one more use of it. Returns NO_ERROR or what LoadLibraryA leaves.
DWORD OpenModule(const char* pPath, HMODULE& hModule);

// ShareModule: counts one more use of the module whose file has that name, in any case and folder; null when none is loaded.
HMODULE ShareModule(const char* pFileName);

// FindModule: the module behind a value; empty for any other. It stays whole while the result is held.
std::shared_ptr<const Module> FindModule(HMODULE hModule);

// CloseModule: ends one use; false when there is no such module.
bool CloseModule(HMODULE hModule);
} // namespace lum
