#include "ui/screen.h"

#include "base/settings.h"
#include "base/text.h"
#include "ui/width.h"

#include <clocale>
#include <cstdio>
#include <cstring>

int ROWS;
int use_colors;

curses_session::curses_session() : screen_(nullptr)
{
    fflush(stdout);
    /* The terminal's character set is the screens' business only: everything else reads bytes. */
    setlocale(LC_CTYPE, "");
    screen_ = newterm(nullptr, stdout, stdin);
    if (!screen_) {
        setlocale(LC_CTYPE, "C");
        return;
    }
    raw();
    keypad(stdscr, TRUE);
    noecho();
    nodelay(stdscr, TRUE); /* waiting for a key is done by ours, which sees signals and the end of input */
}

curses_session::~curses_session()
{
    if (!screen_) return;
    endwin();
    delscreen(screen_);
    setlocale(LC_CTYPE, "C");
}

int start_colors()
{
    if (!has_colors()) return 0;
    start_color();
    init_pair(pair_red, COLOR_RED, COLOR_BLACK);
    init_pair(pair_green, COLOR_GREEN, COLOR_BLACK);
    return 1;
}

int screen_height()
{
    return getmaxy(stdscr);
}

int screen_width()
{
    return getmaxx(stdscr);
}

void draw_text(int row, int column, const std::string &s)
{
    if (move(row, column) != ERR) addstr(s.c_str());
}

void draw_row(int row, int column, const std::string &line)
{
    if (move(row, 0) == ERR) return;
    clrtoeol();
    draw_text(row, column, cut_to_width(line, screen_width() - column));
}

void center(int row, const char *s)
{
    const unsigned left = static_cast<unsigned>(screen_width()) - static_cast<unsigned>(strlen(s));
    draw_text(row, static_cast<int>(left / 2), s);
}

void draw_title(const char *title)
{
    const auto width = static_cast<size_t>(screen_width());
    const std::string line =
        format_text(width + 1, "*** %s (Vandrel V%s) ***", title, printable(version).c_str());
    draw_row(0, static_cast<int>((width - line.size()) / 2), line);
}
