/* launch.h - starting the rehearsed program, in place of this one or as its child. */
#pragma once

#include <string>
#include <vector>

namespace rehearsal
{

/* Where the parts of a rehearsal are: beside this program in a build directory, or installed. */
struct parts {
    std::string vandrel; /* a path, or a plain name to be searched for */
    std::string preload;
    std::string stand_in;
    std::string shipped_tool; /* empty: there is none */
    std::string storelib;     /* what is placed as the controllers' library */
};

/* An empty result means success, else it says what is missing. */
std::string find_parts(parts &found);

/* Replaces this process by the program; returns only on failure, with errno set. */
void exec_program(const std::vector<std::string> &args);

/* Runs the program as a child, passes on signals sent to this process, waits for its end and returns its wait
 * status. That it could not be started is reported here, and counts as an exit with failed_to_start. */
constexpr int failed_to_start = 2;
int run_program(const std::vector<std::string> &args);

/* Ends this process as the wait status says: with the same exit status, or by the same signal. */
[[noreturn]] void end_like(int wait_status);

} // namespace rehearsal
