/* menu_view.h - where a menu stands in its list: plain values, no terminal. */
#pragma once

#include "list/list.h"

constexpr int first_item_row = 3; /* below title, header and ruler */

/* The last screen row that may hold an item: the footer takes the one below. */
constexpr int last_item_row(int height)
{
    return height - 2;
}

struct menu_view {
    GList *list;          /* its head */
    GCompareFunc do_show; /* 0: the highlight may rest on the item */
    GList *current;       /* under the highlight; null when no item is shown */
    GList *first_visible; /* node from which drawing starts */
    int cursor_row;       /* screen row of the highlight; below first_item_row until the first draw */
};

/* The view a menu starts with: on the first shown item. Drawing starts at the head, be it shown or not: a
 * list with a hidden head scrolls one key press later. */
menu_view open_view(GList *list, GCompareFunc do_show);

/* The highlight moves to the next or the previous shown item, if there is one; at the last or first item row
 * of a screen of that height the view scrolls by one instead. */
void move_down(menu_view *view, int height);
void move_up(menu_view *view);

/* Scrolls so far that the highlight lies on a screen of the given height, and that no row of it stays empty
 * while items are hidden above. */
void fit_height(menu_view *view, int height);
