/* process.h - fork, kill, pauses and time as a test wants them, defined in the test program. */
#pragma once

#include <ctime>
#include <deque>
#include <sys/types.h>
#include <vector>

struct fake_process {
    int forks_left = -1;        /* forks until fork fails; -1: it never does */
    std::vector<time_t> pauses; /* seconds, of each that was not waited for */
    std::vector<pid_t> groups;  /* signalled where a process was to be: it is not done */
    std::deque<time_t> clock;   /* what time tells, its last for ever; empty: the real time */
    unsigned clock_readings = 0;
};
extern fake_process process;
