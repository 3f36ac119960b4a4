// No file of this process may become longer, as on a full disk, while one lives.
#pragma once

#include <sys/resource.h>

#include <csignal>

class FileLimit
{
public:
    explicit FileLimit(rlim_t ulBytes) : mpOldHandler(signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &mOld);
        const rlimit limit{ulBytes, mOld.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileLimit()
    {
        setrlimit(RLIMIT_FSIZE, &mOld);
        signal(SIGXFSZ, mpOldHandler);
    }

private:
    rlimit mOld{};
    void (*mpOldHandler)(int);
};
