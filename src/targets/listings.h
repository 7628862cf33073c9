/* listings.h - drives as lines: for calling scripts on standard output, for diagnostics, and what the lines
 * of several menus have in common. */
#pragma once

#include "device/dev.h"
#include "list/list.h"

#include <string>

/* List callback: one `--list` line,
 * adapter,host,slot,vendor,"model",revision,new revision or -,"image file name" or -; */
void list_one_device(gpointer data, gpointer user_data);

/* List callback: the result line of a selected drive after an unattended update, flushed at once,
 * adapter,host,slot,SUCCESS or FAILED,old revision,revision now; */
void list_one_download_status(gpointer data, gpointer user_data);

/* The unit/drive column of a menu, "<unit_host>,<slot_id>" cut to 8 characters. */
std::string unit_drive_column(const Dev *dev);
