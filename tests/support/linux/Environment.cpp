#include "TestEnvironment.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

void UseThrowAwayState(char** argv)
{
    if (std::getenv("LUMBASE_TEST_STATE")) return;

    std::string sHome = (std::filesystem::temp_directory_path() / "lumbase-test-XXXXXX").string();
    if (!mkdtemp(sHome.data()))
    {
        std::perror("cannot make a state directory for the tests");
        std::exit(2);
    }
    setenv("LUMBASE_TEST_STATE", "1", 1);
    setenv("LUMBASE_HOME", sHome.c_str(), 1);

    // The library reads its state while it is loaded: start over with the new environment, and tidy up afterwards.
    const pid_t child = fork();
    if (child == 0)
    {
        execv("/proc/self/exe", argv);
        _exit(127);
    }
    int iStatus = 0;
    waitpid(child, &iStatus, 0);
    std::filesystem::remove_all(sHome);
    if (WIFSIGNALED(iStatus)) std::fprintf(stderr, "the test program was ended by signal %d\n", WTERMSIG(iStatus));
    std::exit(WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 1);
}
