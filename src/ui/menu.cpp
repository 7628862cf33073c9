#include "ui/menu.h"

#include "ui/keys.h"
#include "ui/menu_view.h"
#include "ui/pager.h"
#include "ui/screen.h"

#include <algorithm>
#include <cstdio>

short col_no;
short col_yes;

constexpr char footer[] = "Cursor keys to move up/down, 'h' for help, 'q' for abort, 'g' for act";

namespace
{
/* The drawing cursor of one redraw. */
struct lineinfo {
    int row;    /* where the next item goes */
    int maxrow; /* the last row that may hold an item */
    line_formatter format_data;
    int cursor_row;
    short cursor_pair; /* the pair in which the cursor's row was drawn, for the highlight to use again */
};

struct menu_definition {
    const char *title;
    line_formatter format_data;
    const action *actions;
    const char *help_file;
};
} // namespace

/* Draws one item on the next row, unless it is hidden or lies below the screen. */
static void printoneline(gpointer data, gpointer user_data)
{
    auto *info = static_cast<lineinfo *>(user_data);
    if (info->row > info->maxrow) return;
    short pair = 0;
    const char *line = info->format_data(data, &pair);
    if (!line) return;
    draw_row(info->row, 0, line);
    mvchgat(info->row, 0, -1, A_BOLD, pair, nullptr);
    if (info->row == info->cursor_row) info->cursor_pair = pair;
    ++info->row;
}

/* Draws the column header and below it a ruler with a '+' under every column separator. */
static void draw_header(const std::string &header)
{
    draw_row(1, 0, header);
    std::string ruler = header;
    for (char &c : ruler)
        c = c == '|' ? '+' : '-';
    draw_row(2, 0, ruler);
}

static void draw_menu(const menu_definition &def, menu_view *view)
{
    const int height = screen_height();
    fit_height(view, height);
    view->cursor_row = std::max(view->cursor_row, first_item_row);

    draw_title(def.title);
    draw_header(def.format_data(nullptr, nullptr));
    draw_row(height - 1, 0, footer);

    lineinfo info = {first_item_row, last_item_row(height), def.format_data, view->cursor_row, 0};
    g_list_foreach(view->first_visible, printoneline, &info);
    for (int row = info.row; row <= info.maxrow; ++row)
        draw_row(row, 0, "");

    mvchgat(info.cursor_row, 0, -1, A_REVERSE, info.cursor_pair, nullptr);
    move(height - 1, 0);
    refresh();
}

/* Runs the action bound to a key, if there is one and an item for it. Returns the key to go on with. */
static int apply_binding(const menu_definition &def, const menu_view &view, int key)
{
    for (const action *binding = def.actions; binding->action; ++binding) {
        if (binding->key != key) continue;
        if (!view.current) return key;
        switch (binding->action(view.list, view.current->payload)) {
        case 1:
            return KEY_DOWN;
        case 2:
            return 'q';
        case -1:
            return KEY_UP;
        default:
            return key;
        }
    }
    return key;
}

/* The menu's own handling of a key. Returns false when it ends the menu. */
static bool handle_key(const menu_definition &def, menu_view *view, int key)
{
    switch (key) {
    case 'g':
    case 'G':
    case 'q':
    case 'Q':
        return false;
    case 'h':
    case 'H':
        if (!def.help_file) return true;
        fprintf(stderr, "h pressed -> show help(%s)\n", def.help_file);
        show_help(def.help_file);
        return true;
    case 'j':
    case KEY_DOWN:
        move_down(view, screen_height());
        return true;
    case 'k':
    case KEY_UP:
        move_up(view);
        return true;
    default:
        return true;
    }
}

/* Draws the menu and reads a key. Where no key will ever come nobody is there to choose: that is the same as
 * leaving, bound action included. */
static int ask_for_key(const menu_definition &def, menu_view *view)
{
    draw_menu(def, view);
    const int key = read_key();
    return key == key_end ? 'q' : key;
}

void menu(const char *title, GList *list, line_formatter format_data, GCompareFunc do_show,
          const action *actions, const char *help_file)
{
    if (!list) return;
    const menu_definition def = {title, format_data, actions, help_file};
    menu_view view = open_view(list, do_show);

    const curses_session session;
    if (!session.is_open()) {
        apply_binding(def, view, 'q'); /* nobody can choose anything */
        return;
    }
    if (start_colors()) {
        col_no = pair_red;
        col_yes = pair_green;
    }
    for (bool goes_on = true; goes_on;) {
        const int key = ask_for_key(def, &view);
        goes_on = handle_key(def, &view, apply_binding(def, view, key));
    }
    clear();
    refresh();
}
