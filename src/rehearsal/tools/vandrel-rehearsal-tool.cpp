/* vandrel-rehearsal-tool.cpp - all stand-ins in one program, which acts by the name under which it is called.
 */
#include "rehearsal/tools/flash_tools.h"

#include <cstdio>
#include <cstring>

int main(int argc, char **argv)
{
    const char *const slash = argc > 0 ? strrchr(argv[0], '/') : nullptr;
    const char *const name = slash ? slash + 1 : argc > 0 ? argv[0] : "";
    for (const rehearsal::tool &tool : rehearsal::stand_in_tools())
        if (strcmp(name, tool.name) == 0) return tool.run(argc, argv);
    fprintf(stderr, "%s: started by a rehearsal only, under the name of the program it stands in for\n",
            name);
    return 2;
}
