/* unload_load.h - making every drive move its heads from end to end, shown to the operator as "Grease Wear
 * Levelling". */
#pragma once

#include "base/text.h"
#include "list/list.h"
#include "ui/status.h"

/* Cycles every drive of devlist, provided that the drive list `mapname` loads without a rejected line and is
 * not empty; the list does not choose among the drives. Returns the summary line, never null, owned by the
 * caller. */
status *do_unload_load_cycles(GList *devlist, const char *mapname, const text &reldir);
