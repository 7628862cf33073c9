/* dialogs.h - what the operator is asked: the two full-screen dialogs that frame a firmware update, and
 * questions between the screens. */
#pragma once

#include "list/list.h"

/* Has the operator type that the risk is understood. Returns 1 when the update may proceed, 0 when the
 * operator backs out. A non-zero yes (an unattended run) returns 1 at once without touching the terminal. */
int show_warning_and_request_confirmation(int yes);

/* Shows the summary page with one line for each status record, and asks whether to power the machine off.
 * Returns non-zero for "Yes". */
int status_screen(GList *status_list);

/* Prints "question? " and reads lines from standard input until one begins with "Yes" (1) or "No" (0), in
 * exactly this letter case. End of input counts as "No". */
int yorn(const char *question);
