/* trace.h - what the program tells of its way: its diagnostics on the error stream. */
#pragma once

#include <string>

/* printf to the error stream, or to where this thread's diagnostics are kept. */
__attribute__((format(printf, 1, 2))) void say(const char *fmt, ...);

/* say in a verbose run, nothing in a quiet one. The arguments are evaluated either way, so this is nothing
 * for a loop that runs for every drive and every line of a map. */
__attribute__((format(printf, 1, 2))) void trace(const char *fmt, ...);

/* "what: " and the words for errno, as perror has it. */
void report_error(const char *what);

/* While it lives, what its thread says is appended to a text instead of going to the error stream: who looks
 * at many drives at a time tells of them one after the other. One at a time in a thread. */
class keep_diagnostics
{
  public:
    explicit keep_diagnostics(std::string *kept);
    ~keep_diagnostics();
    keep_diagnostics(const keep_diagnostics &) = delete;
    keep_diagnostics &operator=(const keep_diagnostics &) = delete;
};
