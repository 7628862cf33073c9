/* rules.h - a map file as the loader takes it, with what looks wrong in each of its lines. */
#pragma once

#include "catalogue/map.h"
#include "maplint/findings.h"

#include <memory>
#include <vector>

/* A line that the loader accepts. */
struct rule {
    unsigned line;
    std::unique_ptr<Map> entry;
};

/* True when the entry's previous-revision pattern matches its own new revision. */
bool is_endless(const Map &entry);

/* Reads the map. Returns the rules that count, in file order, and adds what looks wrong to *all: lines that
 * the loader rejects (errors), and lines that it takes otherwise than their author may have meant (warnings).
 * check is the loader's. Returns nothing, with errno set and *all of no use, when the file can't be read. */
std::optional<std::vector<rule>> read_rules(const char *pathname, const text &reldir,
                                            int (*check)(const char *path), findings *all);
