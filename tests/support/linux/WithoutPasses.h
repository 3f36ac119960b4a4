// A check in a process that has its user's rights and no more: an administrator's pass by a file's mode is left behind.
#pragma once

#include <linux/capability.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

// WithoutPasses: the check's answer, given in a forked process; false also when that ends otherwise.
inline bool WithoutPasses(const std::function<bool()>& check)
{
    const pid_t child = fork();
    if (child == 0)
    {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct aNone[_LINUX_CAPABILITY_U32S_3] = {};
        const bool bDropped = syscall(SYS_capset, &header, aNone) == 0;
        _exit(bDropped && check() ? 0 : 1);
    }
    int iStatus = -1;
    waitpid(child, &iStatus, 0);
    return iStatus == 0;
}
