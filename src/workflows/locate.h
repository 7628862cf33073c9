/* locate.h - lighting and putting out a drive's locate LED from within a menu. */
#pragma once

#include "list/list.h"

/* Menu action: lights the LED of the drive under the highlight, or puts it out. A drive's `selected` says
 * that it is lit. Always 0: the highlight stays. */
int toggle_locate(GList *list, gpointer node_data);

/* List callback: puts out the drive's LED if it is lit. */
void end_locate(gpointer data, gpointer user_data);
