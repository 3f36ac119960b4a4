#include "PageEnd.h"

#include <sys/mman.h>

OPageEnd::OPageEnd() : mpPages(mmap(nullptr, 2 * kulPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))
{
    mprotect(mpPages, kulPage, PROT_READ | PROT_WRITE);
}
OPageEnd::~OPageEnd() { munmap(mpPages, 2 * kulPage); }
