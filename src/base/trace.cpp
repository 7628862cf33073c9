#include "base/trace.h"

#include "base/settings.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

static thread_local std::string *kept_here; /* null: the error stream */

static void say_list(const char *fmt, va_list args)
{
    if (!kept_here) {
        vfprintf(stderr, fmt, args);
        return;
    }
    char *text;
    const int len = vasprintf(&text, fmt, args);
    if (len == -1) return; /* no memory for a message */
    kept_here->append(text, static_cast<size_t>(len));
    free(text);
}

void say(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    say_list(fmt, args);
    va_end(args);
}

void trace(const char *fmt, ...)
{
    if (!verbose) return;
    va_list args;
    va_start(args, fmt);
    say_list(fmt, args);
    va_end(args);
}

void report_error(const char *what)
{
    say("%s: %m\n", what);
}

keep_diagnostics::keep_diagnostics(std::string *kept)
{
    kept_here = kept;
}

keep_diagnostics::~keep_diagnostics()
{
    kept_here = nullptr;
}
