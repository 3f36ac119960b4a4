// Calls the library's entry as the Windows loader would: on load, when a thread that was told of ends, and on unload.
#include "Platform.h"

#include <cstdlib>

namespace
{
__attribute__((constructor)) void OnLoad()
{
    if (!LumLibraryEntry(DLL_PROCESS_ATTACH)) std::abort();
}

__attribute__((destructor)) void OnUnload()
{
    LumLibraryEntry(DLL_PROCESS_DETACH);
}
} // namespace
