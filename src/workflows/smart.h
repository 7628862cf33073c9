/* smart.h - the S.M.A.R.T. check: one attribute of every ATA drive, and a menu of the drives that failed. */
#pragma once

#include "base/text.h"
#include "list/list.h"
#include "ui/status.h"

#include <cstdint>

/* Checks attribute `id` of every drive of devlist; the drive list `mapname` says which drives count in the
 * summary line. Offers the failed drives in a menu in which their locate LEDs can be lit; none is left lit.
 * Returns the summary line, never null, owned by the caller. */
status *do_SMART_check(GList *devlist, const char *mapname, const text &reldir, uint8_t id);

/* List callback: sets the drive's `failed` when the attribute's raw value is not 0; user_data points to the
 * attribute number (uint8_t). A drive that can't be read is not failed. */
void check_SMART(gpointer data, gpointer user_data);

/* The menu's line for a drive, or its header (see ui/menu.h), and whether the drive is offered: 0 when it is.
 */
const char *format_SMART_line(gpointer data, short *colorp);
gint show_SMART_line(gconstpointer a, gconstpointer b);
