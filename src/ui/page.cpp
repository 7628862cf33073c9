#include "ui/page.h"

#include "base/text.h"
#include "ui/width.h"

#include <cctype>
#include <cstring>

/* Shortens the line by its trailing white space, except that its first character always stays. */
static void strip_line(char *line)
{
    size_t len = strlen(line);
    while (len > 1 && isspace(static_cast<unsigned char>(line[len - 1])))
        line[--len] = '\0';
}

int showfileseg(FILE *src, int startline, WINDOW *scr, int rows, int cols)
{
    char line[line_size];
    rewind(src);
    for (int skipped = 0; skipped < startline; ++skipped)
        if (!fgets(line, sizeof line, src)) break;

    for (int row = 0; row < rows; ++row) {
        if (wmove(scr, row, 0) != ERR) wclrtoeol(scr);
        if (!fgets(line, sizeof line, src)) continue;
        strip_line(line);
        /* A single white-space character is kept, but there is nothing to see. */
        if (line[1] == '\0' && isspace(static_cast<unsigned char>(line[0]))) continue;
        if (wmove(scr, row, 0) != ERR) waddstr(scr, overprint(line, cols).c_str());
    }
    return fgets(line, sizeof line, src) ? 0 : 1;
}

const char *position_indicator(int startline, bool at_end)
{
    if (startline == 0) return at_end ? "(All) " : "(Top) ";
    return at_end ? "(Bot) " : "";
}
