#include "ClosedPage.h"

#include "Platform.h"

OClosedPage::OClosedPage() : mpPage(VirtualAlloc(nullptr, kulBytes, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS)) {}
OClosedPage::~OClosedPage() { VirtualFree(mpPage, 0, MEM_RELEASE); }

bool DiedOfAccessViolation(int iStatus) { return static_cast<DWORD>(iStatus) == STATUS_ACCESS_VIOLATION; }

// The system ends the process, but starts no debugger that would report at length.
void LeaveFaultsToTheSystem()
{
    SetUnhandledExceptionFilter([](EXCEPTION_POINTERS*) -> LONG { return EXCEPTION_EXECUTE_HANDLER; });
}
