#include "base/pattern.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

/* What the library takes for some patterns, in memory or time, has no bounds. These keep it below half a
 * gigabyte and about a second, and are far from what is needed to tell drives apart. */

constexpr double max_states = 12288; /* as many as a map line filled with "a+a+a+..." needs */

/* Where something empty repeats, every way through all that can be empty is followed from state to state, and
 * an anchor has states copied. */
constexpr double max_work = 1e8; /* ways x states cubed */
constexpr double max_repeated_anchors = 1;
constexpr double max_anchors = 16;

/* What a back-reference could refer to is tried anew for all that repeats. */
constexpr unsigned max_back_references = 2;
constexpr double max_states_with_back_reference = 1000;

constexpr double countless = 1e100; /* a number even when it is multiplied by its like */

namespace
{
/* What a piece of a pattern becomes once its repetitions are written out, roughly. */
struct piece {
    double states;
    double ways; /* through those of its parts that can be empty, at least 1 */
    double anchors;
    bool is_empty; /* can match the empty text */
};

/* A group, or the whole pattern, as far as it has been read: finished branches, and the one being read
 * without its last piece. */
struct group {
    piece finished;
    piece branch;
};

struct count_range {
    double least;
    double most;
    bool is_open; /* any number from least on; most is least then */
};

/* What a pattern holds that makes some of the bounds apply. */
struct traits {
    bool repeats_empty;
    bool repeats_group;
    double repeated_anchors;
    unsigned back_references;
};
} // namespace

constexpr piece nothing = {0, 1, 0, true};
constexpr piece one_character = {1, 1, 0, false};
constexpr piece one_anchor = {1, 1, 1, true};
constexpr piece back_reference = {2, 1, 0, true};
constexpr piece two_anchors = {2, 2, 2, true};
constexpr piece no_branch = {0, 0, 0, false};

/* A decimal number at *p, which is moved behind it. */
static double read_count(const char **p)
{
    char *behind = const_cast<char *>(*p);
    const unsigned long count = isdigit(static_cast<unsigned char>(**p)) ? strtoul(*p, &behind, 10) : 0;
    *p = behind;
    return static_cast<double>(std::min(count, 0xFFFFUL));
}

/* The counts of a "{2,4}" at *p, which is moved to its last character; exactly one when it is none. */
static count_range read_counts(const char **p)
{
    const char *q = *p + 1;
    count_range counts = {read_count(&q), 0, false};
    counts.most = counts.least;
    if (*q == ',') {
        counts.is_open = *++q == '}';
        if (!counts.is_open) counts.most = std::max(counts.least, read_count(&q));
    }
    if (*q != '}') return {1, 1, false};
    *p = q;
    return counts;
}

/* a{2,4} becomes aa(a(a)?)?, a{2,} becomes aaa*. */
static piece repeated(const piece &body, const count_range &counts)
{
    const double copies = std::max(counts.most + counts.is_open, 1.0);
    const double choices = counts.most - counts.least + counts.is_open;
    const double ways = pow(body.ways, copies) * (body.is_empty ? choices + 1 : 1);
    return {body.states * copies + choices, std::min(ways, countless), body.anchors * copies,
            body.is_empty || counts.least == 0};
}

static piece joined(const piece &first, const piece &second)
{
    return {first.states + second.states, std::min(first.ways * second.ways, countless),
            first.anchors + second.anchors, first.is_empty && second.is_empty};
}

/* The branches of a group with one more. Ways through several that can be empty add up. */
static piece with_branch(const piece &finished, const piece &branch)
{
    const bool both = finished.is_empty && branch.is_empty;
    return {finished.states + branch.states + 1,
            both ? finished.ways + branch.ways : std::max(finished.ways, branch.ways),
            finished.anchors + branch.anchors, finished.is_empty || branch.is_empty};
}

/* The character, escape, bracket expression or anchor that begins at *p, which is moved to its last
 * character. */
static piece read_single(const char **p, traits *found)
{
    if (**p == '^' || **p == '$') return one_anchor;
    if (**p == '[') *p = skip_bracket(*p);
    if (**p != '\\' || (*p)[1] == '\0') return one_character;
    const char escaped = *++*p;
    if (escaped == 'b' || escaped == 'B') return two_anchors;
    if (strchr("<>`'", escaped)) return one_anchor;
    if (!isdigit(static_cast<unsigned char>(escaped))) return one_character;
    ++found->back_references;
    return back_reference;
}

/* Notes what repeating a piece means for the bounds. */
static void note_repetition(const piece &body, const count_range &counts, traits *found)
{
    if (!counts.is_open && counts.most <= 1) return;
    if (body.states != 1 || body.is_empty) found->repeats_group = true;
    if (!body.is_empty) return;
    found->repeats_empty = true;
    found->repeated_anchors += body.anchors * (counts.most + counts.is_open);
}

/* Takes an extended pattern apart, as far as the bounds want to know it. */
static piece measure(const char *pattern, traits *found)
{
    std::vector<group> groups = {
        {no_branch, nothing}
    }; /* the open ones */
    piece last = nothing;
    const auto repeat = [&](const count_range &counts) {
        note_repetition(last, counts, found);
        last = repeated(last, counts);
    };
    const auto end_branch = [&] {
        group &inner = groups.back();
        inner = {with_branch(inner.finished, joined(inner.branch, last)), nothing};
        last = nothing;
    };
    const auto end_group = [&] {
        end_branch();
        last = groups.back().finished;
        ++last.states; /* each parenthesis can be one */
        groups.pop_back();
    };
    for (const char *p = pattern; *p != '\0'; p += *p != '\0') {
        switch (*p) {
        case '*':
            repeat({0, 0, true});
            break;
        case '+':
            repeat({1, 1, true});
            break;
        case '?':
            repeat({0, 1, false});
            break;
        case '{':
            repeat(read_counts(&p));
            break;
        case '|':
            end_branch();
            break;
        case '(':
            groups.back().branch = joined(groups.back().branch, last);
            groups.push_back({no_branch, nothing});
            last = nothing;
            break;
        case ')':
            if (groups.size() > 1) end_group();
            break;
        default:
            groups.back().branch = joined(groups.back().branch, last);
            last = read_single(&p, found);
        }
    }
    while (groups.size() > 1) {
        end_group();
        last = joined(groups.back().branch, last);
        groups.back().branch = nothing;
    }
    end_group();
    return last;
}

static bool is_too_big(const char *pattern)
{
    traits found = {};
    const piece whole = measure(pattern, &found);
    if (whole.states > max_states) return true;
    if (found.back_references > 0 && (found.back_references > max_back_references || found.repeats_group ||
                                      whole.states > max_states_with_back_reference))
        return true;
    return found.repeats_empty &&
           (found.repeated_anchors > max_repeated_anchors || whole.anchors > max_anchors ||
            whole.ways * pow(whole.states, 3) > max_work);
}

const char *skip_bracket(const char *p)
{
    ++p;
    if (*p == '^') ++p;
    if (*p == ']') ++p;
    while (*p != '\0' && *p != ']') {
        const bool is_class = *p == '[' && (p[1] == ':' || p[1] == '.' || p[1] == '=');
        const char class_end[] = {p[1], ']', '\0'};
        const char *inner = is_class ? strstr(p + 2, class_end) : nullptr;
        p = inner ? inner + 2 : p + 1;
    }
    return p;
}

regex_ptr compile_pattern(const char *pattern, int flags, std::string *error)
{
    auto compiled = std::make_unique<regex_t>();
    const int code = is_too_big(pattern) ? REG_ESIZE : regcomp(compiled.get(), pattern, flags);
    if (code == 0) return regex_ptr(compiled.release());

    const size_t size = regerror(code, compiled.get(), nullptr, 0); /* counts the NUL */
    error->assign(size, '\0');
    regerror(code, compiled.get(), error->data(), size);
    error->resize(size - 1);
    return nullptr;
}
