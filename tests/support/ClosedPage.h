// Memory that faults, and how a process looks that died of it.
#pragma once

#include <cstddef>

// One page that may be neither read nor written.
class OClosedPage
{
public:
    OClosedPage();
    ~OClosedPage();
    OClosedPage(const OClosedPage&) = delete;
    OClosedPage& operator=(const OClosedPage&) = delete;

    char* Get() const { return static_cast<char*>(mpPage); }

private:
    static constexpr std::size_t kulBytes = 4096;
    void* mpPage;
};

// DiedOfAccessViolation: whether a child's exit status says so; for EXPECT_EXIT.
bool DiedOfAccessViolation(int iStatus);

// LeaveFaultsToTheSystem: takes back what a sanitizer installed for faults. Before the first translator of the process.
void LeaveFaultsToTheSystem();
