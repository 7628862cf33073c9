#include "maplint/findings.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

constexpr size_t finding_size = 16384; /* a whole map line may be quoted in it */

void add_finding(findings *all, unsigned line, severity level, const char *fmt, ...)
{
    std::string what(finding_size, '\0');
    va_list args;
    va_start(args, fmt);
    const int n = vsnprintf(what.data(), what.size(), fmt, args);
    va_end(args);
    what.resize(n < 0 ? 0 : std::min(static_cast<size_t>(n), what.size() - 1));
    all->push_back({line, level, std::move(what)});
}
