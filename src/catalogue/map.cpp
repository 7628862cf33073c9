#include "catalogue/map.h"

#include "base/pattern.h"
#include "base/settings.h"

#include <cctype>
#include <cstdio>
#include <cstring>

namespace
{
struct escape {
    char letter;
    const char *output;
};

/* One field of a line; `end` is its last character, before `start` when the field is empty. */
struct field {
    const char *start;
    const char *end;
};

enum field_result { field_ok, field_missing, field_open };

struct field_rule {
    bool may_end_line;    /* an unquoted field may end where the line does */
    const char *open_msg; /* message when the field has no end */
};
} // namespace

/* The negated classes say '!', an ordinary member in POSIX, where '^' might be expected: map files out in the
 * field are written against what these patterns match. */
static const escape escapes[] = {
    {'w',  "[[:alnum:]]" },
    {'W',  "[![:alnum:]]"},
    {'s',  "[[:space:]]" },
    {'S',  "[![:space:]]"},
    {'d',  "[[:digit:]]" },
    {'D',  "[![:digit:]]"},
    {'\\', "\\"          },
};

constexpr int num_fields = 4;
static const field_rule field_rules[num_fields] = {
    {false, "Bad pattern in line %u\n" },
    {false, "Bad pattern in line %u\n" },
    {false, "Bad revision in line %u\n"},
    {true,  "Bad pathname in line %u\n"},
};

std::string perl2regex(const char *start, const char *end)
{
    std::string out;
    for (const char *p = start; p <= end; ++p) {
        if (*p != '\\' || p == end) {
            out += *p;
            continue;
        }
        ++p;
        const char *replacement = nullptr;
        for (const escape &e : escapes)
            if (e.letter == *p) replacement = e.output;
        if (replacement)
            out += replacement;
        else
            out += *p;
    }
    return out;
}

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

/* Cuts the next field out of the line at *p and moves *p to the character that ended it. That is the closing
 * quote itself for a quoted field, so that it opens the next one: quoted fields are written chained,
 * "A"B"C"D". */
static field_result next_field(const char **p, bool may_end_line, field *f)
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
    *f = {start, stop - 1};
    *p = stop;
    return field_ok;
}

/* Splits a line into its four fields. Returns 1, or 0 after the message for the first that is missing or has
 * no end. */
static int split_line(const char *line, unsigned number, field *fields)
{
    for (int i = 0; i < num_fields; ++i) {
        const field_result result = next_field(&line, field_rules[i].may_end_line, &fields[i]);
        if (result == field_ok) continue;
        if (result == field_missing)
            fprintf(stderr, "Misformed line %u\n", number);
        else
            fprintf(stderr, field_rules[i].open_msg, number); // NOLINT(clang-diagnostic-format-nonliteral)
        return 0;
    }
    return 1;
}

static regex_ptr compile_field(const std::string &pattern, unsigned number)
{
    std::string error;
    regex_ptr compiled = compile_pattern(pattern.c_str(), REG_EXTENDED | REG_NOSUB, &error);
    if (!compiled) fprintf(stderr, "Error in pattern line %u: %s\n", number, error.c_str());
    return compiled;
}

/* The entry that a line with content makes, or null after a message. */
static std::unique_ptr<Map> parse_line(const char *line, unsigned number, const text &reldir,
                                       int (*check)(const char *path))
{
    field fields[num_fields];
    if (!split_line(line, number, fields)) return nullptr;

    auto entry = std::make_unique<Map>();
    entry->model_pattern_s = perl2regex(fields[0].start, fields[0].end);
    entry->prev_rev_s = perl2regex(fields[1].start, fields[1].end);
    entry->new_rev_s = my_strdup(fields[2].start, fields[2].end);
    entry->pathname = reldir.value_or("") + "/" + DataDir + "/" + my_strdup(fields[3].start, fields[3].end);
    if (check && !check(entry->pathname.c_str())) {
        perror(entry->pathname.c_str());
        return nullptr;
    }
    entry->model_pattern = compile_field(entry->model_pattern_s, number);
    if (!entry->model_pattern) return nullptr;
    entry->prev_rev = compile_field(entry->prev_rev_s, number);
    if (!entry->prev_rev) return nullptr;

    if (verbose)
        fprintf(stderr, "Added M=\"%s\" R=\"%s\" I=\"%s\"\n", entry->model_pattern_s.c_str(),
                entry->new_rev_s.c_str(), entry->pathname.c_str());
    return entry;
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

GList *loadMap(const char *pathname, int *numerrorsp, const text &reldir, int (*check)(const char *path))
{
    const file_ptr f(fopen(pathname, "rte"));
    if (!f) {
        perror(pathname);
        ++*numerrorsp;
        return nullptr;
    }
    if (verbose) fprintf(stderr, "loadMap(pathname=\"%s\")\n", pathname);

    GList *list = nullptr;
    GList *last = nullptr;
    char line[line_size];
    for (unsigned number = 1; fgets(line, sizeof line, f.get()); ++number) {
        if (verbose) fprintf(stderr, "%u:%s", number, line);
        const char *content = line_content(line);
        if (!content) continue;
        std::unique_ptr<Map> entry = parse_line(content, number, reldir, check);
        if (!entry) {
            ++*numerrorsp;
            continue;
        }
        /* Appended to the last node, so that a long map costs no walk a line. */
        GList *appended = g_list_append(last, entry.release());
        last = last ? last->next : appended;
        if (!list) list = appended;
    }
    return list;
}

void free_one_map(gpointer data)
{
    delete static_cast<Map *>(data);
}
