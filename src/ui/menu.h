/* menu.h - the one full-screen list: a highlight over the items of a list, and keys that act on the item
 * under it. The menu decides nothing about the items; the caller reads the outcome from them afterwards. */
#pragma once

#include "list/list.h"

#include <cstddef>

constexpr size_t menu_line_size = 256; /* room of a line that a formatter makes, its NUL included */

/* Colour pairs for the lines of unselected or failed, and of selected or healthy items; 0 without colours. */
extern short col_no;
extern short col_yes;

/* A key and what it does: called with the list and the item under the highlight. Results: 1 moves down, -1
 * up, 2 ends the menu as 'q' does, 0 leaves the key to the menu's own handling. A table ends with a null
 * action. */
struct action {
    int key;
    int (*action)(GList *list, gpointer item);
};

/* The display text of an item, or null when it is not to be shown; stores the line's colour pair through pair
 * when that is given. With a null item: the column header. The text belongs to the formatter and is good
 * until its next call. */
using line_formatter = const char *(*)(gpointer item, short *pair);

/* Runs the menu until the operator leaves it. do_show(item, null) is 0 for an item that the highlight may
 * rest on; it must agree with the formatter. help_file may be null. A null list returns at once. */
void menu(const char *title, GList *list, line_formatter format_data, GCompareFunc do_show,
          const action *actions, const char *help_file);
