/* update.h - carrying out a firmware download drive by drive: flashing tool, retries, log, and a script that
 * does the same again. */
#pragma once

#include "list/list.h"

#include <cstdint>
#include <cstdio>
#include <string>

constexpr char COMMANDS[] = "/tmp/Script.sh";

struct update_args {
    uint32_t i;           /* number of the drive being flashed, counted from 1 */
    uint32_t total;       /* number of selected drives; set by the caller */
    FILE *script;         /* the script being written; null when none is open */
    const char *log_path; /* borrowed */
    uint32_t numerrors;   /* drives whose download failed */
    int yes;              /* non-zero: an unattended run; set by the caller */
};

/* Flashes every selected drive of devlist in list order; afterwards an interactive run is asked whether to
 * view the log. Needs total and yes set; leaves the failures in numerrors and each drive's outcome in its
 * fw_update_successful. When the script can't be created, says so and flashes nothing. */
void start_update(GList *devlist, update_args *argsp);

/* List callback: flashes one drive if it is selected; user_data is the update_args. */
void do_update_one_device(gpointer data, gpointer user_data);
