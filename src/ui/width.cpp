#include "ui/width.h"

#include <climits>
#include <cwchar>

constexpr int tab_stop = 8;

namespace
{
/* One character of a text in the terminal's character set. */
struct glyph {
    size_t bytes; /* at least 1 */
    int columns;  /* -1: not printable */
};

struct piece {
    std::string text;
    int columns; /* that it fills */
};
} // namespace

static glyph next_glyph(std::string_view s, mbstate_t *state)
{
    wchar_t wide;
    const size_t bytes = mbrtowc(&wide, s.data(), s.size(), state);
    if (bytes == 0 || bytes == static_cast<size_t>(-1) || bytes == static_cast<size_t>(-2)) {
        *state = {};
        return {1, -1};
    }
    return {bytes, wcwidth(wide)};
}

/* The beginning of s that fills at most so many columns. */
static piece cut(std::string_view s, int columns)
{
    std::string out;
    mbstate_t state = {};
    int used = 0;
    while (!s.empty() && used < columns) {
        if (s[0] == '\t') {
            do
                out += ' ';
            while (++used % tab_stop != 0 && used < columns);
            s.remove_prefix(1);
            continue;
        }
        const glyph g = next_glyph(s, &state);
        if (g.columns > columns - used) break;
        if (g.columns < 0)
            out += '?';
        else
            out.append(s.substr(0, g.bytes));
        used += g.columns < 0 ? 1 : g.columns;
        s.remove_prefix(g.bytes);
    }
    return {out, used};
}

std::string printable(std::string_view s)
{
    return cut(s, INT_MAX).text;
}

std::string cut_to_width(std::string_view s, int columns)
{
    return cut(s, columns).text;
}

/* What stays in sight of a text when its first columns are written over; half a character becomes a blank. */
static std::string uncovered(std::string_view text, int columns)
{
    mbstate_t state = {};
    int covered = 0;
    while (!text.empty() && covered < columns) {
        const glyph g = next_glyph(text, &state);
        covered += g.columns;
        text.remove_prefix(g.bytes);
    }
    std::string rest(covered > columns ? 1 : 0, ' ');
    return rest.append(text);
}

std::string overprint(std::string_view line, int columns)
{
    std::string shown;
    for (;;) {
        const size_t end = line.find('\r');
        const piece over = cut(line.substr(0, end), columns);
        shown = over.text + uncovered(shown, over.columns);
        if (end == std::string_view::npos) return shown;
        line.remove_prefix(end + 1);
    }
}
