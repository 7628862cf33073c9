#include "maplint/rules.h"

#include "base/files.h"
#include "catalogue/map_line.h"
#include "catalogue/pattern_size.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>

static const char *const field_names[num_map_fields] = {"model pattern", "previous-revision pattern",
                                                        "new revision", "image"};

/* True when a field that a closing quote opened is hardly what its author meant it to be: what stands between
 * two quoted fields, or what was to follow on its own. An empty one stands between two quotes. */
static bool looks_swallowed(std::string_view field)
{
    static constexpr std::string_view separators = " \t\"'";
    return field.empty() || separators.find(field.front()) != std::string_view::npos ||
           separators.find(field.back()) != std::string_view::npos;
}

/* Closing quotes that were meant to do no more than close. A field that was not found starts nowhere. */
static void check_quotes(const std::string_view *fields, unsigned line, findings *all)
{
    for (int i = model_field; i < image_field && fields[i].data(); ++i) {
        const char behind = *(fields[i].data() + fields[i].size());
        const std::string_view next = fields[i + 1];
        if (behind != '"' && behind != '\'') continue;
        if (!next.data())
            add_finding(all, line, warning,
                        "the closing quote of the %s opens the next field, which has no end", field_names[i]);
        else if (looks_swallowed(next))
            add_finding(all, line, warning,
                        "the closing quote of the %s opens the next field: the %s is \"%s\"", field_names[i],
                        field_names[i + 1], std::string(next).c_str());
    }
}

namespace
{
enum place { among_atoms, in_bracket, behind_backslash };

struct surprise {
    place where;
    const char *letters;
    const char *what;
};
} // namespace

/* Escapes whose translation is not what Perl makes of them. */
static const surprise surprises[] = {
    {among_atoms, ".*+?()[{|^$",
     ", which keeps its special meaning; the character itself is written with two backslashes"},
    {among_atoms, "WSD",         ": an exclamation mark or what the small letter stands for"  },
    {among_atoms, "w",           ": no underscore"                                            },
    {in_bracket,  "wWsSdD",      ", which ends the brackets around it"                        },
};

/* Where in a translated pattern the character behind it stands. */
static place place_behind(const std::string &pattern)
{
    for (const char *p = pattern.c_str(); *p != '\0'; ++p) {
        if (*p == '\\') {
            if (*++p == '\0') return behind_backslash;
        } else if (*p == '[') {
            p = skip_bracket(p);
            if (*p == '\0') return in_bracket;
        }
    }
    return among_atoms;
}

/* What is surprising about an escape, to follow its translation in a message; null when nothing is. */
static const char *find_surprise(char letter, place where, const std::string &becomes)
{
    for (const surprise &s : surprises)
        if (s.where == where && strchr(s.letters, letter)) return s.what;
    const bool is_known = becomes[0] != letter;
    return isalnum(static_cast<unsigned char>(letter)) && !is_known ? ", a plain character" : nullptr;
}

static void check_escapes(std::string_view field, const char *name, unsigned line, findings *all)
{
    const char *const start = field.data();
    for (const char *p = start; p + 1 < start + field.size(); ++p) {
        if (*p != '\\') continue;
        const place where = place_behind(perl2regex(start, p - 1));
        ++p;
        const std::string becomes = perl2regex(p - 1, p);
        if (const char *what = find_surprise(*p, where, becomes))
            add_finding(all, line, warning, "\\%c in the %s becomes %s%s", *p, name, becomes.c_str(), what);
    }
}

/* The alternatives of a translated pattern that compiles, split at each '|' outside parentheses and brackets.
 */
static std::vector<std::string> alternatives(const std::string &pattern)
{
    std::vector<std::string> result;
    int depth = 0;
    const char *start = pattern.c_str();
    for (const char *p = start; *p != '\0'; ++p) {
        if (*p == '\\')
            ++p;
        else if (*p == '[')
            p = skip_bracket(p);
        else if (*p == '(')
            ++depth;
        else if (*p == ')')
            --depth;
        else if (*p == '|' && depth == 0) {
            result.emplace_back(start, p);
            start = p + 1;
        }
    }
    result.emplace_back(start);
    return result;
}

static bool says_how_it_begins(const std::string &pattern)
{
    return pattern.starts_with('^') || pattern.starts_with(".*") || pattern.starts_with(".+");
}

/* Less its last character or two, the pattern must not end in the backslash that makes them plain ones. */
static bool says_how_it_ends(const std::string &pattern)
{
    for (const std::string_view end : {"$", ".*", ".+"})
        if (pattern.ends_with(end) && !pattern.ends_with("\\" + std::string(end))) return true;
    return false;
}

/* A pattern matches anywhere in the text unless it says otherwise, so it takes longer texts, too. */
static void check_anchors(const std::string &pattern, const char *name, unsigned line, findings *all)
{
    for (const std::string &p : alternatives(pattern)) {
        if (p == ".") continue; /* "anything" */
        const bool begins = says_how_it_begins(p);
        const bool ends = says_how_it_ends(p);
        if (begins && ends) continue;
        const char *missing = begins ? "behind" : ends ? "in front of" : "in front of and behind";
        add_finding(all, line, warning,
                    "the %s \"%s\" also matches texts with more %s it; anchor it with ^ and $, or write .* "
                    "where that is meant",
                    name, p.c_str(), missing);
    }
}

bool is_endless(const Map &entry)
{
    return regexec(entry.prev_rev.get(), entry.new_rev_s.c_str(), 0, nullptr, 0) == 0;
}

/* What the loader accepts, and the program would act on. */
static void check_entry(const Map &entry, const std::string_view *fields, unsigned line, findings *all)
{
    for (const int i : {model_field, prev_rev_field})
        check_escapes(fields[i], field_names[i], line, all);
    check_anchors(entry.model_pattern_s, field_names[model_field], line, all);
    check_anchors(entry.prev_rev_s, field_names[prev_rev_field], line, all);
    /* Lists of drives have "-" for what nobody asks. */
    if (is_endless(entry) && entry.new_rev_s != "-")
        add_finding(
            all, line, warning,
            "the previous-revision pattern matches the new revision %s: with -f the update repeats for ever",
            entry.new_rev_s.c_str());
}

static void check_image(const Map &entry, unsigned line, findings *all)
{
    std::error_code ignored; /* what can't be looked at is no regular file */
    if (!std::filesystem::is_regular_file(entry.pathname, ignored))
        add_finding(all, line, warning, "the image is no regular file");
    else if (std::filesystem::is_empty(entry.pathname, ignored))
        add_finding(all, line, warning, "the image is empty");
    if (entry.pathname.find('\'') != std::string::npos)
        add_finding(all, line, warning, "the image's name holds a quote, which breaks the update script");
}

std::optional<std::vector<rule>> read_rules(const char *pathname, const text &reldir,
                                            int (*check)(const char *path), findings *all)
{
    map_reader reader = {.file = open_data_file(pathname), .number = 0, .line = ""};
    if (!reader.file) return {};
    std::vector<rule> rules;
    shared_patterns patterns;
    while (const char *content = next_map_line(&reader)) {
        std::string reason;
        std::unique_ptr<Map> entry =
            parse_map_line(content, reader.number, reldir, check, &patterns, &reason);
        if (!entry) {
            strip_trailing_space(reason);
            add_finding(all, reader.number, error, "rejected: %s", reason.c_str());
        }
        std::string_view fields[num_map_fields] = {};
        split_map_line(content, reader.number, fields, &reason);
        check_quotes(fields, reader.number, all);
        if (!entry) continue;
        check_entry(*entry, fields, reader.number, all);
        if (check) check_image(*entry, reader.number, all);
        rules.push_back({reader.number, std::move(entry)});
    }
    if (ferror(reader.file.get())) return {};
    if (rules.empty() && all->empty()) add_finding(all, whole_map, warning, "no line counts");
    return rules;
}
