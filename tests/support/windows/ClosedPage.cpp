#include "ClosedPage.h"

#include "Platform.h"

OClosedPage::OClosedPage() : mpPage(VirtualAlloc(nullptr, kulBytes, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS)) {}
OClosedPage::~OClosedPage() { VirtualFree(mpPage, 0, MEM_RELEASE); }

bool DiedOfAccessViolation(int iStatus) { return static_cast<DWORD>(iStatus) == STATUS_ACCESS_VIOLATION; }

void LeaveFaultsToTheSystem() {}
