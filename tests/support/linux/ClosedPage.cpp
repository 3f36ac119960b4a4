#include "ClosedPage.h"

#include <csignal>

#include <sys/mman.h>
#include <sys/wait.h>

OClosedPage::OClosedPage() : mpPage(mmap(nullptr, kulBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
OClosedPage::~OClosedPage() { munmap(mpPage, kulBytes); }

bool DiedOfAccessViolation(int iStatus) { return WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGSEGV; }

void LeaveFaultsToTheSystem() { std::signal(SIGSEGV, SIG_DFL); }
