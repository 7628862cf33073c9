/* trace.h - what a verbose run tells of its way. */
#pragma once

/* printf to the error stream in a verbose run, nothing in a quiet one. The arguments are evaluated either
 * way, so this is nothing for a loop that runs for every drive and every line of a map. */
__attribute__((format(printf, 1, 2))) void trace(const char *fmt, ...);
