#include "ui/screen.h"

#include "base/settings.h"
#include "base/text.h"
#include "ui/width.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <unistd.h>

int ROWS;
int use_colors;

/* The library catches these signals from its first screen on and never lets go; they are its own only while a
 * screen is open. Left caught, a resized terminal would interrupt whatever the program waits for between two
 * screens. */
static constexpr int library_signals[] = {SIGWINCH, SIGTSTP};
static struct sigaction library_actions[std::size(library_signals)];
static bool library_is_started;

static void give_signals_to_library()
{
    for (size_t i = 0; i < std::size(library_signals); ++i)
        if (library_is_started)
            sigaction(library_signals[i], &library_actions[i], nullptr);
        else
            sigaction(library_signals[i], nullptr, &library_actions[i]);
    library_is_started = true;
}

static void take_signals_from_library()
{
    for (const int s : library_signals)
        signal(s, SIG_DFL);
}

/* Where the error stream is a file, the operator is told on the terminal, too. */
static void report_no_screens()
{
    const char *const terminal = getenv("TERM");
    const std::string message =
        format_text(line_size, "No screens on terminal \"%s\"\n", terminal ? terminal : "");
    fputs(message.c_str(), stderr);
    if (isatty(STDERR_FILENO) || !isatty(STDOUT_FILENO)) return;
    fputs(message.c_str(), stdout);
    fflush(stdout);
}

curses_session::curses_session() : screen_(nullptr)
{
    fflush(stdout);
    /* The terminal's character set is the screens' business only: everything else reads bytes. */
    setlocale(LC_CTYPE, "");
    screen_ = newterm(nullptr, stdout, stdin);
    if (!screen_) {
        setlocale(LC_CTYPE, "C");
        report_no_screens();
        return;
    }
    give_signals_to_library();
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
    take_signals_from_library();
    setlocale(LC_CTYPE, "C");
}

bool start_colors()
{
    if (!has_colors()) return false;
    start_color();
    init_pair(pair_red, COLOR_RED, COLOR_BLACK);
    init_pair(pair_green, COLOR_GREEN, COLOR_BLACK);
    return true;
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
    if (move(row, column) != ERR) addstr(cut_to_width(s, screen_width() - column).c_str());
}

void draw_row(int row, int column, const std::string &line)
{
    if (move(row, 0) == ERR) return;
    clrtoeol();
    draw_text(row, column, line);
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
