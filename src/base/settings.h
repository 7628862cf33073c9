/* settings.h - what the command line, the environment and Config.txt decided, for every layer to read.
 * Set by the program's entry only; nobody below it writes them. */
#pragma once

#include <string>

extern int verbose;         /* diagnostic level; 0 = quiet */
extern int keep_script;     /* recorded only: the update script always stays in place */
extern int force_FW_update; /* match drives that already run the target revision */
extern int show_all;        /* menus list every drive, not only the relevant ones */

extern std::string version; /* program version shown in titles */
extern std::string Log_path;
extern std::string FW_help_path;
extern std::string SMART187_help_path;
