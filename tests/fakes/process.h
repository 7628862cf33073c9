/* process.h - fork, kill and pauses as a test wants them, defined in the test program. */
#pragma once

#include <ctime>
#include <sys/types.h>
#include <vector>

struct fake_process {
    int forks_left = -1;        /* forks until fork fails; -1: it never does */
    std::vector<time_t> pauses; /* seconds, of each that was not waited for */
    std::vector<pid_t> groups;  /* signalled where a process was to be: it is not done */
};
extern fake_process process;
