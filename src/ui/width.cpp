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

static std::string cut(std::string_view s, int columns)
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
    return out;
}

std::string printable(std::string_view s)
{
    return cut(s, INT_MAX);
}

std::string cut_to_width(std::string_view s, int columns)
{
    return cut(s, columns);
}
