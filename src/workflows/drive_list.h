/* drive_list.h - the drive lists, files in the map's grammar that say which drives a mode works on. */
#pragma once

#include "base/text.h"
#include "list/list.h"

/* Loads a drive list whose every line must be good. Returns its entries, owned by the caller; null when a
 * line was rejected, the file is missing, or there are no entries. */
GList *load_drive_list(const char *mapname, const text &reldir);
