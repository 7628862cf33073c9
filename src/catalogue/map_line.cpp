#include "catalogue/map_line.h"

#include "base/settings.h"

#include <cctype>
#include <cstdio>
#include <cstring>

namespace
{
enum field_result { field_ok, field_missing, field_open };

struct field_rule {
    bool may_end_line;    /* an unquoted field may end where the line does */
    const char *open_msg; /* message when the field has no end */
};
} // namespace

constexpr size_t message_size = 64;

static const field_rule field_rules[num_map_fields] = {
    {false, "Bad pattern in line %u\n" },
    {false, "Bad pattern in line %u\n" },
    {false, "Bad revision in line %u\n"},
    {true,  "Bad pathname in line %u\n"},
};

static bool is_blank(char c)
{
    return isblank(static_cast<unsigned char>(c)) != 0;
}

static const char *skip_blanks(const char *p)
{
    while (is_blank(*p))
        ++p;
    return p;
}

/* The line's first character that counts, its line end cut off; null for a comment or an empty line. */
static const char *line_content(char *line)
{
    const char *content = skip_blanks(line);
    if (*content == '#') {
        if (verbose) fprintf(stderr, "    Comment line\n");
        return nullptr;
    }
    size_t len = strlen(line);
    while (len > 0 && (line[len - 1] == '\n' || line[len - 1] == '\r'))
        line[--len] = '\0';
    if (content >= line + len) {
        if (verbose) fprintf(stderr, "    Empty line\n");
        return nullptr;
    }
    return content;
}

const char *next_map_line(map_reader *reader)
{
    while (fgets(reader->line, sizeof reader->line, reader->file.get())) {
        ++reader->number;
        if (verbose) fprintf(stderr, "%u:%s", reader->number, reader->line);
        if (const char *content = line_content(reader->line)) return content;
    }
    return nullptr;
}

/* Cuts the next field out of the line at *p and moves *p to the character that ended it, a closing quote
 * included. */
static field_result next_field(const char **p, bool may_end_line, std::string_view *field)
{
    const char *start = skip_blanks(*p);
    if (*start == '\0') return field_missing;

    const char *stop;
    if (*start == '"' || *start == '\'') {
        stop = strchr(start + 1, *start);
        if (!stop) return field_open;
        ++start;
    } else {
        stop = start;
        while (*stop != '\0' && !is_blank(*stop))
            ++stop;
        if (*stop == '\0' && !may_end_line) return field_open;
    }
    *field = {start, stop};
    *p = stop;
    return field_ok;
}

bool split_map_line(const char *content, unsigned number, std::string_view *fields, std::string *error)
{
    for (int i = 0; i < num_map_fields; ++i) {
        const field_result result = next_field(&content, field_rules[i].may_end_line, &fields[i]);
        if (result == field_ok) continue;
        const char *msg = result == field_missing ? "Misformed line %u\n" : field_rules[i].open_msg;
        *error = format_text(message_size, msg, number); // NOLINT(clang-diagnostic-format-nonliteral)
        return false;
    }
    return true;
}
