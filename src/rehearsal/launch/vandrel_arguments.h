/* vandrel_arguments.h - the command line of the rehearsed program, made from the one that the operator wrote.
 */
#pragma once

#include <span>
#include <string>
#include <vector>

namespace rehearsal
{

struct vandrel_arguments {
    std::vector<std::string> kept; /* without -R and its directory; a relative map file made absolute */
    std::string given_root;        /* the directory of the last -R, as written; empty when there was none */
};

/* Takes the command line apart as the program itself does; args begins with a program's name and may be
 * reordered. A relative map file is looked up in the given tree, as the program does it, or in current_dir
 * when no tree is given: the rehearsed program would search it elsewhere. A command line that the program
 * refuses is kept as it is. */
vandrel_arguments split_arguments(std::span<char *> args, const std::string &current_dir);

} // namespace rehearsal
