#include "catalogue/map.h"

#include "base/files.h"
#include "base/pattern.h"
#include "base/settings.h"
#include "catalogue/map_line.h"
#include "catalogue/pattern_size.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace
{
struct escape {
    char letter;
    const char *output;
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

/* Compiles a translated pattern. Null, with the message for line `number` in *error, when it is none. */
static shared_regex compile_field(const std::string &pattern, unsigned number, shared_patterns *patterns,
                                  std::string *error)
{
    shared_regex &known = (*patterns)[pattern];
    if (known) return known;
    std::string reason;
    if (is_too_big(pattern.c_str()))
        reason = pattern_error(REG_ESIZE, nullptr);
    else
        known = compile_pattern(pattern.c_str(), REG_EXTENDED | REG_NOSUB, &reason);
    if (!known) *error = "Error in pattern line " + std::to_string(number) + ": " + reason + "\n";
    return known;
}

static std::string translate(std::string_view field)
{
    return perl2regex(field.data(), field.data() + field.size() - 1);
}

static std::string copy_of(std::string_view field)
{
    return my_strdup(field.data(), field.data() + field.size() - 1);
}

std::unique_ptr<Map> parse_map_line(const char *content, unsigned number, const text &reldir,
                                    int (*check)(const char *path), shared_patterns *patterns,
                                    std::string *error)
{
    std::string_view fields[num_map_fields];
    if (!split_map_line(content, number, fields, error)) return nullptr;

    auto entry = std::make_unique<Map>();
    entry->model_pattern_s = translate(fields[model_field]);
    entry->model_filter = find_prefilter(entry->model_pattern_s);
    entry->prev_rev_s = translate(fields[prev_rev_field]);
    entry->new_rev_s = copy_of(fields[new_rev_field]);
    entry->pathname = reldir.value_or("") + "/" + DataDir + "/" + copy_of(fields[image_field]);
    if (check && !check(entry->pathname.c_str())) {
        const int reason = errno;
        *error = entry->pathname + ": " + strerror(reason) + "\n";
        return nullptr;
    }
    entry->model_pattern = compile_field(entry->model_pattern_s, number, patterns, error);
    if (!entry->model_pattern) return nullptr;
    entry->prev_rev = compile_field(entry->prev_rev_s, number, patterns, error);
    if (!entry->prev_rev) return nullptr;
    return entry;
}

GList *loadMap(const char *pathname, int *numerrorsp, const text &reldir, int (*check)(const char *path))
{
    map_reader reader = {.file = open_data_file(pathname), .number = 0, .line = ""};
    if (!reader.file) {
        if (errno != EINVAL) perror(pathname); /* else it has been said */
        ++*numerrorsp;
        return nullptr;
    }
    if (verbose) fprintf(stderr, "loadMap(pathname=\"%s\")\n", pathname);

    shared_patterns patterns;
    GList *list = nullptr;
    GList *last = nullptr;
    while (const char *content = next_map_line(&reader)) {
        std::string error;
        std::unique_ptr<Map> entry = parse_map_line(content, reader.number, reldir, check, &patterns, &error);
        if (!entry) {
            fputs(error.c_str(), stderr);
            ++*numerrorsp;
            continue;
        }
        if (verbose)
            fprintf(stderr, "Added M=\"%s\" R=\"%s\" I=\"%s\"\n", entry->model_pattern_s.c_str(),
                    entry->new_rev_s.c_str(), entry->pathname.c_str());
        /* Appended to the last node, so that a long map costs no walk a line. */
        GList *appended = g_list_append(last, entry.release());
        last = last ? last->next : appended;
        if (!list) list = appended;
    }
    if (ferror(reader.file.get())) { /* what comes after, exceptions perhaps, is missing */
        perror(pathname);
        ++*numerrorsp;
    }
    return list;
}

void free_one_map(gpointer data)
{
    delete static_cast<Map *>(data);
}
