// Calls the library's entry as the Windows loader would: on load, when a thread that was told of ends, and on unload.
#include "Platform.h"

#include <pthread.h>

#include <cstdlib>

namespace
{
// Its destructor runs behind those of thread_local objects, which may still use the library. Not set where there were no keys left.
pthread_key_t gThreadEnd;
bool gbThreadEnd = false;

void OnThreadEnd(void*) { LumLibraryEntry(DLL_THREAD_DETACH); }

__attribute__((constructor)) void OnLoad()
{
    gbThreadEnd = pthread_key_create(&gThreadEnd, OnThreadEnd) == 0;
    if (!LumLibraryEntry(DLL_PROCESS_ATTACH)) std::abort();
}

__attribute__((destructor)) void OnUnload()
{
    if (gbThreadEnd) pthread_key_delete(gThreadEnd); // threads that end later would call what is no longer there
    gbThreadEnd = false;
    LumLibraryEntry(DLL_PROCESS_DETACH);
}
} // namespace

void LumTellThreadEnd()
{
    if (gbThreadEnd) pthread_setspecific(gThreadEnd, &gThreadEnd); // any value but null
}
