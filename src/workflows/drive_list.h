/* drive_list.h - the drive lists, files in the map's grammar that say which drives a mode works on. */
#pragma once

#include "base/text.h"
#include "catalogue/map.h"

/* Loads a drive list whose every line must be good, matches all drives of devlist (GList of Dev) against it,
 * and tells of both in a verbose run, where `task` is what starts now. Returns the entries, which the drives'
 * `image` points into; null, no drive touched, when a line was rejected, the file is missing, or there are no
 * entries. */
list_ptr<free_one_map> match_drive_list(GList *devlist, const char *mapname, const text &reldir,
                                        const char *task);
