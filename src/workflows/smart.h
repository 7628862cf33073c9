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
