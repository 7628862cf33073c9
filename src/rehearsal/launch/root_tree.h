/* root_tree.h - the file tree that a rehearsed program gets with -R: data files, stand-ins for flashing
 * tools, a place for logs. */
#pragma once

#include "rehearsal/machine/machine.h"

#include <string>
#include <vector>

namespace rehearsal
{

/* Says in root_request that the controllers' libraries are not installed. */
constexpr char no_libraries[] = "storelib";

struct root_request {
    std::string given;        /* absolute path of the tree whose files are to be used; empty: make some up */
    std::string stand_in;     /* the program that stands in for all tools */
    std::string shipped_tool; /* vandrel-fw-download; empty: there is none */
    std::string storelib;     /* the shared object that stands in for the controllers' library */
    std::string preload;      /* a shared object without that library's entry points */
    std::vector<std::string> without; /* tools that are to be missing, or no_libraries */
};

/* Prepares root/ of the rehearsal directory. The given tree is only linked to: what the program writes stays
 * in the rehearsal directory, and nothing executable of the tree is there to be found. Files that the program
 * wrote in an earlier run stay. An empty result means success, else it says what failed. */
std::string prepare_root(const machine &m, const root_request &request);

/* The text of a map that brings every drive with a new revision and an image in its line to that revision. */
std::string generate_map(const machine &m);

} // namespace rehearsal
