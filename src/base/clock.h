/* clock.h - time that nobody sets. */
#pragma once

#include <ctime>

/* Whole seconds since the machine started. */
time_t uptime_s();
