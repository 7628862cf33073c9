#include "maplint/rules.h"

#include "catalogue/map_line.h"

#include <cctype>
#include <cstdio>
#include <cstring>

static const char *const field_names[num_map_fields] = {"model pattern", "previous-revision pattern",
                                                        "new revision", "image"};

static std::string field_text(const map_field &f)
{
    return my_strdup(f.start, f.end);
}

/* A quoted field whose closing quote is followed by a blank: the author meant the field to end there, but the
 * quote opens the next one. */
static void check_quotes(const map_field *fields, unsigned line, findings *all)
{
    for (int i = model_field; i < image_field; ++i) {
        const char *behind = fields[i].end + 1;
        const bool is_quoted = (*behind == '"' || *behind == '\'') && fields[i].start[-1] == *behind;
        if (!is_quoted || fields[i + 1].start != behind + 1 ||
            !isblank(static_cast<unsigned char>(behind[1])))
            continue;
        add_finding(all, line, warning, "the closing quote of the %s opens the next field: the %s is \"%s\"",
                    field_names[i], field_names[i + 1], field_text(fields[i + 1]).c_str());
    }
}

/* Escapes whose translation is not what Perl makes of them. */
static void check_escapes(const map_field &f, const char *name, unsigned line, findings *all)
{
    for (const char *p = f.start; p < f.end; ++p) {
        if (*p != '\\') continue;
        ++p;
        const std::string becomes = perl2regex(p - 1, p);
        if (strchr(".*+?()[]{}|^$", *p))
            add_finding(
                all, line, warning,
                "\\%c in the %s becomes %s, which keeps its special meaning; the character itself is written "
                "\\\\%c",
                *p, name, becomes.c_str(), *p);
        else if (strchr("WSD", *p))
            add_finding(all, line, warning,
                        "\\%c in the %s becomes %s: an exclamation mark or what \\%c matches", *p, name,
                        becomes.c_str(), tolower(*p));
        else if (*p == 'w')
            add_finding(all, line, warning, "\\w in the %s becomes %s: no underscore", name, becomes.c_str());
    }
}

/* The alternatives of a translated pattern, split at each '|' outside parentheses and brackets. */
static std::vector<std::string> alternatives(const std::string &pattern)
{
    std::vector<std::string> result(1);
    int depth = 0;
    bool in_bracket = false;
    for (size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        const bool is_escaped = c == '\\' && !in_bracket;
        if (c == '[') in_bracket = true;
        if (c == ']') in_bracket = false;
        if (!in_bracket && c == '(') ++depth;
        if (!in_bracket && c == ')') --depth;
        if (!in_bracket && depth == 0 && c == '|') {
            result.emplace_back();
            continue;
        }
        result.back() += c;
        if (is_escaped && i + 1 < pattern.size()) result.back() += pattern[++i];
    }
    return result;
}

static bool says_how_it_begins(const std::string &pattern)
{
    return pattern.starts_with('^') || pattern.starts_with(".*");
}

static bool says_how_it_ends(const std::string &pattern)
{
    return (pattern.ends_with('$') && !pattern.ends_with("\\$")) || pattern.ends_with(".*");
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
                    "where that "
                    "is meant",
                    name, p.c_str(), missing);
    }
}

static void check_repetition(const Map &entry, unsigned line, findings *all)
{
    if (regexec(entry.prev_rev.get(), entry.new_rev_s.c_str(), 0, nullptr, 0) == 0)
        add_finding(
            all, line, warning,
            "the previous-revision pattern matches the new revision %s: with -f the update repeats for ever",
            entry.new_rev_s.c_str());
}

static void check_rule(const Map &entry, const char *content, unsigned line, findings *all)
{
    map_field fields[num_map_fields];
    std::string unused;
    if (!split_map_line(content, line, fields, &unused)) return;
    check_quotes(fields, line, all);
    for (const int i : {model_field, prev_rev_field})
        check_escapes(fields[i], field_names[i], line, all);
    check_anchors(entry.model_pattern_s, field_names[model_field], line, all);
    check_anchors(entry.prev_rev_s, field_names[prev_rev_field], line, all);
    check_repetition(entry, line, all);
}

std::optional<std::vector<rule>> read_rules(const char *pathname, const text &reldir,
                                            int (*check)(const char *path), findings *all)
{
    map_reader reader = {.file = file_ptr(fopen(pathname, "rte")), .number = 0, .line = ""};
    if (!reader.file) return {};
    std::vector<rule> rules;
    while (const char *content = next_map_line(&reader)) {
        std::string reason;
        std::unique_ptr<Map> entry = parse_map_line(content, reader.number, reldir, check, &reason);
        if (!entry) {
            strip_trailing_space(reason);
            add_finding(all, reader.number, error, "rejected: %s", reason.c_str());
            continue;
        }
        check_rule(*entry, content, reader.number, all);
        rules.push_back({reader.number, std::move(entry)});
    }
    return rules;
}
