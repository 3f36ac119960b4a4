#include "OtherProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

struct OtherProcess::System
{
    pid_t child;
    std::FILE* pOrders;
    std::FILE* pAnswers;
};

OtherProcess::OtherProcess(const std::string& sRole) : mpSystem(new System{})
{
    int aOrders[2], aAnswers[2];
    if (pipe2(aOrders, O_CLOEXEC) != 0 || pipe2(aAnswers, O_CLOEXEC) != 0) std::perror("pipe2");
    std::fflush(nullptr);
    mpSystem->child = fork();
    if (mpSystem->child == 0)
    {
        dup2(aOrders[0], STDIN_FILENO);
        dup2(aAnswers[1], STDOUT_FILENO);
        execl("/proc/self/exe", "test", "--role", sRole.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(aOrders[0]);
    close(aAnswers[1]);
    mpSystem->pOrders = fdopen(aOrders[1], "w");
    mpSystem->pAnswers = fdopen(aAnswers[0], "r");
}

OtherProcess::~OtherProcess()
{
    if (mpSystem->pOrders) std::fclose(mpSystem->pOrders);
    if (mpSystem->child > 0) waitpid(mpSystem->child, nullptr, 0);
    std::fclose(mpSystem->pAnswers);
    delete mpSystem;
}

void OtherProcess::Tell(const std::string& sOrder)
{
    std::fprintf(mpSystem->pOrders, "%s\n", sOrder.c_str());
    std::fflush(mpSystem->pOrders);
}

std::string OtherProcess::Answer()
{
    char acLine[8192];
    if (!std::fgets(acLine, sizeof acLine, mpSystem->pAnswers)) return {};
    std::string sLine = acLine;
    return sLine.substr(0, sLine.find('\n'));
}

void OtherProcess::Kill()
{
    kill(mpSystem->child, SIGKILL);
    waitpid(mpSystem->child, nullptr, 0);
    mpSystem->child = 0;
    signal(SIGPIPE, SIG_IGN); // what is left in the orders' buffer has nobody to go to
}
