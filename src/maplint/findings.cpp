#include "maplint/findings.h"

#include <cstdarg>
#include <cstdio>

constexpr size_t finding_size = 16384; /* a whole map line may be quoted in it */

void add_finding(findings *all, unsigned line, severity level, const char *fmt, ...)
{
    std::string what(finding_size, '\0');
    va_list args;
    va_start(args, fmt);
    vsnprintf(what.data(), what.size(), fmt, args);
    va_end(args);
    all->push_back({line, level, what.c_str()});
}
