// The engine of compound files, given any bytes at all: read, checked, changed and committed.
#include "../tests/support/linux/StorageExercise.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t ulBytes)
{
    if (!ExerciseStorage(std::vector<BYTE>(pBytes, pBytes + ulBytes))) std::abort();
    return 0;
}
