/* match.h - which image each drive needs. */
#pragma once

#include "list/list.h"

/* List callback over drives; user_data is the map (GList of Map, may be null). Sets the drive's image,
 * target_rev and selected from the last entry that matches; without one image is null and selected 0, while
 * target_rev keeps what an earlier pass left. image points into the entry, so the map must outlive its use.
 */
void find_image(gpointer data, gpointer user_data);

/* List callback over the map; user_data is the Dev. The entry matches when its patterns match the drive's
 * model and revision and the drive does not run the entry's new revision already, unless an update is forced.
 */
void find_one_image(gpointer data, gpointer user_data);
