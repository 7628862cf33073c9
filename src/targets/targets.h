/* targets.h - target lists: the drives of an unattended run, named as `--list` prints them.
 * list = "ALL" | item { ":" item }, item = adapter "," host "," slot. */
#pragma once

#include "list/list.h"

/* 1 when s is null, "ALL" or a well-formed list; else 0. */
int valid_targets(const char *s);

/* List callback over drives; user_data is the target list, null for none. Marks a drive with an image
 * `selected` when the list names it, and not when not; without a list or an image the mark stays. More
 * permissive than valid_targets: the adapter in any letter case, "*" for host or slot, and "*" in front of an
 * adapter's worth of characters. */
void select_auto_target(gpointer data, gpointer user_data);

/* Position after the next ':' at or after t; null when there is none. */
const char *next_target(const char *t);
