/* update.h - carrying out a firmware download drive by drive: flashing tool, retries, log, and a script that
 * does the same again. */
#pragma once

#include "list/list.h"
#include "workflows/flash.h"

constexpr char COMMANDS[] = "/tmp/Script.sh";

/* Flashes every selected drive of devlist in list order; afterwards an interactive run is asked whether to
 * view the log. Needs total and yes set; leaves the failures in numerrors and each drive's outcome in its
 * fw_update_successful. When the script can't be created, says so and flashes nothing. Called with signals
 * held, it stops behind the drive in work once one of them asks the program to end; drives not begun are then
 * no longer selected. */
void start_update(GList *devlist, update_args *argsp);

/* List callback: flashes one drive if it is selected; user_data is the update_args. */
void do_update_one_device(gpointer data, gpointer user_data);
