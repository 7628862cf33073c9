#include "ui/pager.h"

#include "base/files.h"
#include "ui/keys.h"
#include "ui/page.h"
#include "ui/screen.h"

#include <cstdio>

constexpr char help_footer[] = "%sUse cursor keys to scroll through help or hit \"q\" to return to program";
constexpr char log_footer[] = "%sUse cursor keys to scroll through log  or hit \"q\" to quit";

/* Draws the page that starts at line `start`, with its footer. Says whether the file's end is visible. */
static bool draw_page(FILE *f, int start, WINDOW *window, const char *footer)
{
    const int height = getmaxy(window);
    const int width = getmaxx(window);
    ROWS = height;
    const bool at_end = showfileseg(f, start, window, height - 1, width) != 0;
    if (wmove(window, height - 1, 0) != ERR) {
        wclrtoeol(window);
        // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral): one of the two constants above
        const std::string line = format_text(line_size, footer, position_indicator(start, at_end));
        waddnstr(window, line.c_str(), width);
    }
    wrefresh(window);
    return at_end;
}

/* Scrolls through the file until the operator leaves. The window has the size of the screen and follows it.
 */
static void page_through(FILE *f, WINDOW *window, const char *footer)
{
    for (int start = 0;;) {
        const bool at_end = draw_page(f, start, window, footer);
        switch (read_key()) {
        case 'j':
        case KEY_DOWN:
            if (!at_end) ++start;
            break;
        case 'k':
        case KEY_UP:
            if (start > 0) --start;
            break;
        case KEY_RESIZE:
            wresize(window, screen_height(), screen_width());
            /* Else reading a key would paint the screen below over the page. */
            untouchwin(stdscr);
            touchwin(window);
            break;
        case 'q':
        case 'Q':
        case key_end:
            return;
        default:
            break;
        }
    }
}

void show_help(const char *filename)
{
    const file_ptr f = open_data_file(filename);
    if (!f) return;
    WINDOW *window = newwin(screen_height(), screen_width(), 0, 0);
    if (!window) return;
    page_through(f.get(), window, help_footer);
    delwin(window);
    clear();
}

void showfile(const char *pathname)
{
    const file_ptr f = open_data_file(pathname);
    if (!f) return;
    const curses_session session;
    if (!session.is_open()) return;
    page_through(f.get(), stdscr, log_footer);
}
