/* real_function.h - for the preloaded library: functions that stand in front of the C library's, and the way
 * on. */
#pragma once

#include <dlfcn.h>

/* Everything else of the library is hidden, so that none of its names meets one of the program's. */
#define REHEARSAL_EXPORT extern "C" __attribute__((visibility("default")))

namespace rehearsal
{

/* The function that the program would have called without us. */
template <typename function_t>
function_t find_real(const char *name)
{
    return reinterpret_cast<function_t>(dlsym(RTLD_NEXT, name));
}

} // namespace rehearsal
