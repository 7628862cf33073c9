#include "base/shell.h"

#include "base/handles.h"
#include "base/signals.h"

#include <cerrno>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

void run_in_shell(const char *command)
{
    fflush(nullptr);
    const leave_keys_to_child keys;
    const pid_t pid = fork();
    if (pid == -1) {
        perror("fork");
        return;
    }
    if (pid == 0) {
        reset_signals();
        dup2(STDERR_FILENO, STDOUT_FILENO);
        close_all_but_streams();
        execl("/bin/sh", "sh", "-c", command, nullptr);
        perror("/bin/sh");
        _exit(1);
    }
    while (waitpid(pid, nullptr, 0) == -1 && errno == EINTR) {
    }
}
