#include "ui/keys.h"

#include "base/signals.h"
#include "ui/screen.h"

#include <poll.h>
#include <unistd.h>

constexpr int ctrl_u = 'U' & 0x1F;
constexpr int ctrl_h = 'H' & 0x1F;
constexpr int delete_char = 0x7F;

/* Waits until there is something to read, the screen's size changes or the program is asked to end. Says
 * whether input (or its end) is waiting. */
static bool wait_for_input()
{
    pollfd input = {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    return ppoll(&input, 1, nullptr, waiting_mask()) == 1;
}

int read_key()
{
    bool was_readable = false;
    for (;;) {
        if (end_is_requested()) return key_end;
        /* Does not wait: takes what curses has read ahead, too. */
        const int key = getch();
        if (key != ERR) return key;
        const bool is_readable = wait_for_input();
        /* Once, what was there may have been no whole key. Twice in a row, nothing but the input's end is. */
        if (was_readable && is_readable) return key_end;
        was_readable = is_readable;
    }
}

/* Draws the line in its place, one column a byte; it may run on into the next row. */
static void echo_line(const typed_line &line)
{
    if (move(line.row, line.column) == ERR) return;
    for (const char c : line.text)
        addch(static_cast<chtype>(c >= ' ' && c < delete_char ? c : '?'));
}

/* Takes the last character back, also where the line has run on into the next row. */
static void erase_last(typed_line *line)
{
    if (line->text.empty()) return;
    line->text.pop_back();
    const int at = line->column + static_cast<int>(line->text.size());
    const int row = line->row + at / screen_width();
    const int column = at % screen_width();
    draw_text(row, column, " ");
    move(row, column);
}

/* Whatever is no function key goes into the line: an answer with something odd in it is not the exact one. */
static bool is_text(int key)
{
    return key > 0 && key < KEY_MIN;
}

static bool is_erase(int key)
{
    return key == KEY_BACKSPACE || key == KEY_LEFT || key == delete_char || key == ctrl_h;
}

line_state type_line(typed_line *line)
{
    echo_line(*line);
    for (;;) {
        refresh();
        const int key = read_key();
        if (key == key_end) return line_ended;
        if (key == KEY_RESIZE) return line_redraw;
        if (key == '\n' || key == '\r' || key == KEY_ENTER) return line_done;
        if (is_erase(key)) {
            erase_last(line);
        } else if (key == ctrl_u) {
            while (!line->text.empty())
                erase_last(line);
        } else if (is_text(key) && line->text.size() < line->max_len) {
            line->text += static_cast<char>(key);
            echo_line(*line);
        } else {
            beep();
        }
    }
}
