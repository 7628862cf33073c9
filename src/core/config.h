/* config.h - Config.txt: "name = value" lines by which whoever prepares the maintenance system presets a run.
 */
#pragma once

#include "base/text.h"

#include <optional>
#include <regex.h>
#include <string>
#include <vector>

struct config_pair {
    std::string name;
    std::string value;
};
using config_pairs = std::vector<config_pair>;

/* Reads <reldir>/Data/<filename>. Returns its pairs in file order, duplicates included; nothing when the file
 * can't be opened. Lines that are no pair are skipped silently. A value runs to the end of its line, quotes
 * and '#' included, less trailing white space. */
std::optional<config_pairs> load_config_file(const text &reldir, const char *filename);

/* The value of the first pair with exactly this name; null when there is none. Borrowed from config. */
const char *lookup_config(const std::optional<config_pairs> &config, const char *name);

/* The characters of s from a match's start to its end. */
std::string extract(const char *s, const regmatch_t &rm);
