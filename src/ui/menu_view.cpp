#include "ui/menu_view.h"

menu_view open_view(GList *list, GCompareFunc do_show)
{
    return {
        .list = list,
        .do_show = do_show,
        .current = g_list_find_custom(list, nullptr, do_show),
        .first_visible = list,
        .cursor_row = 0,
    };
}

static bool is_shown(const menu_view *view, const GList *node)
{
    return view->do_show(node->payload, nullptr) == 0;
}

static GList *next_shown(const menu_view *view, GList *from)
{
    return g_list_find_custom(from->next, nullptr, view->do_show);
}

static GList *previous_shown(const menu_view *view, GList *from)
{
    GList *node = from->prev;
    while (node && !is_shown(view, node))
        node = node->prev;
    return node;
}

static void scroll_down(menu_view *view)
{
    if (GList *first = next_shown(view, view->first_visible)) view->first_visible = first;
}

void move_down(menu_view *view, int height)
{
    if (!view->current) return;
    GList *next = next_shown(view, view->current);
    if (!next) return;
    if (view->cursor_row < last_item_row(height))
        ++view->cursor_row;
    else
        scroll_down(view);
    view->current = next;
}

void move_up(menu_view *view)
{
    if (!view->current) return;
    GList *previous = previous_shown(view, view->current);
    if (!previous) return;
    if (view->cursor_row == first_item_row)
        view->first_visible = previous;
    else
        --view->cursor_row;
    view->current = previous;
}

/* Scrolls back for as long as that fills rows which stay empty below the last item. */
static void fill_height(menu_view *view, int height)
{
    int empty_rows = last_item_row(height) - first_item_row + 1;
    const GList *node = view->first_visible;
    do
        if (is_shown(view, node)) --empty_rows;
    while ((node = node->next) && empty_rows > 0);
    for (; empty_rows > 0; --empty_rows) {
        GList *previous = previous_shown(view, view->first_visible);
        if (!previous) return;
        view->first_visible = previous;
        ++view->cursor_row;
    }
}

void fit_height(menu_view *view, int height)
{
    fill_height(view, height);
    if (view->cursor_row <= last_item_row(height)) return;
    /* A hidden first node takes no row: leaving it behind scrolls nothing. */
    if (!is_shown(view, view->first_visible)) scroll_down(view);
    while (view->cursor_row > first_item_row && view->cursor_row > last_item_row(height)) {
        scroll_down(view);
        --view->cursor_row;
    }
}
