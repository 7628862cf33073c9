/* listings.h - drives as lines: for calling scripts on standard output, and for diagnostics. */
#pragma once

#include "list/list.h"

/* List callback: one `--list` line,
 * adapter,host,slot,vendor,"model",revision,new revision or -,"image file name" or -; */
void list_one_device(gpointer data, gpointer user_data);

/* List callback: the result line of a selected drive after an unattended update, flushed at once,
 * adapter,host,slot,SUCCESS or FAILED,old revision,revision now; */
void list_one_download_status(gpointer data, gpointer user_data);
