/* screen.h - one period of curses mode, and drawing that several screens share. */
#pragma once

#include "base/signals.h"

#include <ncurses.h>
#include <string>

/* Colour pairs of every screen, defined where the terminal has colours. */
constexpr short pair_red = 1;   /* on black */
constexpr short pair_green = 2; /* on black */

/* What the last screen was like, for whoever asks when curses mode is over and the standard screen can't be
 * asked any more, a debugger above all. Nothing in the program decides on them. */
extern int ROWS;       /* height, as the pager and the confirmation screen last saw it */
extern int use_colors; /* 1: the confirmation screen had colours */

/* Curses mode from construction to destruction: raw keys with function keys translated, the terminal's own
 * character set, signals noted. The terminal is restored at its end. Where the terminal can't be used
 * is_open() is false and nothing may be drawn. */
class curses_session
{
  public:
    curses_session();
    ~curses_session();
    curses_session(const curses_session &) = delete;
    curses_session &operator=(const curses_session &) = delete;
    [[nodiscard]] bool is_open() const { return screen_ != nullptr; }

  private:
    note_end_signals signals_; /* first: in force before the terminal changes, and until it is restored */
    SCREEN *screen_;
};

/* Defines the two colour pairs. Says whether the terminal has colours. */
bool start_colors();

/* Height and width of the standard screen. */
int screen_height();
int screen_width();

/* Clears a row of the standard screen and draws line there from the given column on, cut at the screen's
 * edge. */
void draw_row(int row, int column, const std::string &line);

/* Draws s at (row, column) of the standard screen, cut at its edge, unless that place lies outside. */
void draw_text(int row, int column, const std::string &s);

/* Draws s centred on a row of the standard screen; one that is wider than the screen is not drawn. */
void center(int row, const char *s);

/* Draws "*** <title> (Vandrel V<version>) ***" centred on row 0, cut to the screen's width. */
void draw_title(const char *title);
