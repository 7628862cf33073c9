#include "base/trace.h"

#include "base/settings.h"

#include <cstdarg>
#include <cstdio>

void trace(const char *fmt, ...)
{
    if (!verbose) return;
    va_list args;
    va_start(args, fmt);
    vfprintf(stderr, fmt, args);
    va_end(args);
}
