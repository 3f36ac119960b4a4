// Deleting an open file. Internal to platform/linux.
#pragma once

namespace lum
{
// DeleteFileOf: wherever the file has been moved to, unless that name leads to another one by now. Needs no memory.
void DeleteFileOf(int fd);

// TakeBackFile: deletes a file that we made and that is to be closed, unless it is not empty, or somebody else has it open.
void TakeBackFile(int fd);

// PathOf: where the file lies, with a zero at its end. Needs no memory.
bool PathOf(int fd, char (&acPath)[4096]);
} // namespace lum
