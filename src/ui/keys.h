/* keys.h - keys and typed lines, for as long as there is somebody to type them. */
#pragma once

#include <string>

/* The input has ended, or the program is asked to end. */
constexpr int key_end = -1;

/* Waits for a key on the standard screen. Returns its code, KEY_RESIZE after the terminal's size changed, or
 * key_end; once key_end, always key_end. */
int read_key();

/* A line being typed at one place of the standard screen. Lives across redraws: a change of the screen's size
 * is never an answer, nor part of one. */
struct typed_line {
    int row;
    int column;
    size_t max_len; /* further characters are not taken */
    std::string text;
};

enum line_state {
    line_done,   /* ended by Enter; the text is the answer */
    line_redraw, /* the screen must be drawn again; go on with the same line */
    line_ended,  /* no answer will come */
};

/* Lets the operator type on: characters are echoed in place, the erase keys take the last one back, Ctrl-U
 * all of them. Where the line's place lies outside the screen it is typed unseen, and appears once the screen
 * has grown. */
line_state type_line(typed_line *line);
