#include "process.h"

#include <cerrno>
#include <csignal>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

fake_process process;

extern "C" pid_t fork() noexcept
{
    if (process.forks_left == 0) {
        errno = EAGAIN;
        return -1;
    }
    if (process.forks_left > 0) --process.forks_left;
    return reinterpret_cast<pid_t (*)()>(dlsym(RTLD_NEXT, "fork"))();
}

/* A test must be able to fail without ending every process of the machine. */
extern "C" int kill(pid_t pid, int number) noexcept
{
    if (pid > 0) return static_cast<int>(syscall(SYS_kill, pid, number));
    process.groups.push_back(pid);
    return 0;
}

extern "C" int sigtimedwait(const sigset_t *, siginfo_t *, const timespec *pause)
{
    process.pauses.push_back(pause->tv_sec);
    errno = EAGAIN;
    return -1;
}
