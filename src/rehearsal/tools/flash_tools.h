/* flash_tools.h - the stand-ins for programs that the real one starts. */
#pragma once

#include <span>

namespace rehearsal
{

struct tool {
    const char *name;                  /* the program's own name, under which the stand-in is called */
    int (*run)(int argc, char **argv); /* returns the exit status */
};

std::span<const tool> stand_in_tools();

} // namespace rehearsal
