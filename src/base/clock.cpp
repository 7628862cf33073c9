#include "base/clock.h"

time_t uptime_s()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}
