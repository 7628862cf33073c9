#include "catalogue/pattern_size.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vector>

constexpr unsigned max_added = 4096;
constexpr unsigned max_anchor_run = 32;
constexpr unsigned max_back_references = 2;
constexpr unsigned max_size_with_back_reference = 512;
constexpr unsigned max_count = 0xFFFF;

namespace
{
/* What an operator may repeat. */
struct piece {
    unsigned size = 0;    /* in characters, its repetitions written out */
    unsigned anchors = 0; /* that stand in it */
    bool can_be_empty = true;
    bool is_repeatable = false; /* the library refuses an operator behind nothing and behind an anchor */
};

/* The whole pattern, or a group that is open. */
struct group {
    unsigned size = 0;
    unsigned anchors = 0;
    unsigned anchor_run = 0; /* anchors since the last character that a match must have */
    bool branch_can_be_empty = true;
    bool other_can_be_empty = false; /* one of the branches before */
    piece last;
};

struct bounds {
    unsigned added = 0;
    unsigned anchor_run = 0;
    unsigned back_references = 0;
    bool repeats_empty = false;
};
} // namespace

static void add_last(group *g, bounds *found)
{
    g->size += g->last.size;
    g->anchors += g->last.anchors;
    g->branch_can_be_empty = g->branch_can_be_empty && g->last.can_be_empty;
    g->anchor_run = g->last.can_be_empty ? g->anchor_run + g->last.anchors : 0;
    found->anchor_run = std::max(found->anchor_run, g->anchor_run);
    g->last = {};
}

static void end_branch(group *g, bounds *found)
{
    add_last(g, found);
    g->other_can_be_empty = g->other_can_be_empty || g->branch_can_be_empty;
    g->branch_can_be_empty = true;
}

static unsigned read_count(const char **p)
{
    if (!isdigit(static_cast<unsigned char>(**p))) return 0;
    char *behind;
    const unsigned long count = strtoul(*p, &behind, 10);
    *p = behind;
    return static_cast<unsigned>(std::min<unsigned long>(count, max_count));
}

/* Repeats the piece by the operator at *p, which moves to its last character. The library writes repetitions
 * out: a{2,4} is aa(a(a)?)?, a{2,} is aaa* and a+ is aa*. */
static void repeat(const char **p, piece *last, bounds *found)
{
    unsigned least = **p == '+' ? 1 : 0;
    unsigned most = 1;
    bool has_no_end = **p == '+' || **p == '*';
    if (**p == '{') {
        const char *q = *p + 1;
        least = most = read_count(&q);
        if (*q == ',') {
            has_no_end = *++q == '}';
            most = std::max(least, read_count(&q));
        }
        if (*q != '}') return; /* for the library to refuse */
        *p = q;
    } else if (has_no_end) {
        most = least;
    }
    if (!last->is_repeatable) return;
    const unsigned copies = std::max(most + (has_no_end ? 1 : 0), 1U);
    found->repeats_empty = found->repeats_empty || (last->can_be_empty && (has_no_end || most > 1));
    found->added = std::min(found->added + last->size * (copies - 1), max_added + 1);
    last->size = std::min(last->size * copies, max_added + 1);
    last->can_be_empty = last->can_be_empty || least == 0;
}

/* The character, anchor, escape or bracket expression at *p, which moves to its last character. */
static piece read_single(const char **p, bounds *found)
{
    constexpr piece character = {1, 0, false, true};
    if (**p == '^' || **p == '$') return {1, 1, true, false};
    if (**p == '[') *p = skip_bracket(*p);
    if (**p != '\\' || (*p)[1] == '\0') return character;
    const char escaped = *++*p;
    if (escaped == 'b' || escaped == 'B') return {1, 2, true, false}; /* two ways on */
    if (strchr("<>`'", escaped)) return {1, 1, true, false};
    if (!isdigit(static_cast<unsigned char>(escaped))) return character;
    ++found->back_references;
    return {1, 0, true, true};
}

bool is_too_big(const char *pattern)
{
    std::vector<group> open(1);
    bounds found;
    for (const char *p = pattern; *p != '\0'; p += *p != '\0') {
        group &inner = open.back();
        if (strchr("*+?{", *p)) {
            repeat(&p, &inner.last, &found);
        } else if (*p == '|') {
            end_branch(&inner, &found);
        } else if (*p == '(') {
            add_last(&inner, &found);
            const unsigned run = inner.anchor_run;
            open.emplace_back().anchor_run = run;
        } else if (*p == ')' && open.size() > 1) {
            end_branch(&inner, &found);
            const piece whole = {inner.size, inner.anchors, inner.other_can_be_empty, true};
            open.pop_back();
            open.back().last = whole;
        } else {
            add_last(&inner, &found);
            inner.last = read_single(&p, &found);
        }
    }
    add_last(&open.back(), &found);
    return found.repeats_empty || found.added > max_added || found.anchor_run > max_anchor_run ||
           found.back_references > max_back_references ||
           (found.back_references > 0 && strlen(pattern) + found.added > max_size_with_back_reference);
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
