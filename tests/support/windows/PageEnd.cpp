#include "PageEnd.h"

#include "Platform.h"

OPageEnd::OPageEnd() : mpPages(VirtualAlloc(nullptr, 2 * kulPage, MEM_RESERVE, PAGE_NOACCESS))
{
    VirtualAlloc(mpPages, kulPage, MEM_COMMIT, PAGE_READWRITE);
}
OPageEnd::~OPageEnd() { VirtualFree(mpPages, 0, MEM_RELEASE); }
