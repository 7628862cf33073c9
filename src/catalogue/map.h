/* map.h - the firmware map and the drive lists, one grammar for all: which drives, recognised by model and
 * running revision, get which revision from which image. */
#pragma once

#include "base/handles.h"
#include "base/text.h"
#include "catalogue/prefilter.h"
#include "list/list.h"

#include <memory>
#include <string>
#include <unordered_map>

/* Equal patterns of a map are one: a compiled pattern takes several KiB, and the same revisions stand in line
 * after line. */
using shared_regex = std::shared_ptr<const regex_t>;
using shared_patterns = std::unordered_map<std::string, shared_regex>;

/* One accepted line. Patterns are POSIX extended, case-sensitive and match anywhere unless the file anchors
 * them. */
struct Map {
    prefilter model_filter;
    shared_regex model_pattern;
    std::string model_pattern_s; /* field 1, translated */
    shared_regex prev_rev;
    std::string prev_rev_s; /* field 2, translated */
    std::string new_rev_s;  /* field 3, as it stands */
    std::string pathname;   /* image path built from field 4; drives point to it */
};

/* Reads the map file `pathname`. Returns the list of its entries in file order, null when there are none or
 * the file can't be opened. Adds 1 to *numerrorsp, after a message with the line number, for each rejected
 * line, and for a file that can't be opened or read to its end. Image names are taken below <reldir>/Data;
 * where `check` is given, a path for which it returns 0 (errno set) rejects its line. The caller owns the
 * list: g_list_free_full(list, free_one_map). */
GList *loadMap(const char *pathname, int *numerrorsp, const text &reldir, int (*check)(const char *path));

/* The entry that a line's content makes, checked as loadMap does it; null with loadMap's message, line end
 * included, in *error when the line is rejected. Patterns are taken from, and added to, those of the lines
 * before. */
std::unique_ptr<Map> parse_map_line(const char *content, unsigned number, const text &reldir,
                                    int (*check)(const char *path), shared_patterns *patterns,
                                    std::string *error);

/* Translates Perl's escapes in the pattern from `start` to its last character `end` (inclusive) to POSIX
 * ones: class escapes become bracket expressions, "\\" a backslash, any other escaped character that
 * character alone; so "\." is any character, and "\\." a dot. A lone backslash at the end stays. */
std::string perl2regex(const char *start, const char *end);

/* Releases one entry. */
void free_one_map(gpointer data);
