/* smart.h - the S.M.A.R.T. check: one attribute of every ATA drive, and a menu of the drives that failed. */
#pragma once

#include "base/status.h"
#include "base/text.h"
#include "list/list.h"

#include <cstdint>

/* Checks attribute `id` of every drive of devlist; the drive list `mapname` says which drives count in the
 * summary line. Returns that line, never null, owned by the caller. */
status *do_SMART_check(GList *devlist, const char *mapname, const text &reldir, uint8_t id);
