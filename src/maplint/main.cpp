/* main.cpp - vandrel-maplint: tells a map's author what the program will make of the map. Every answer comes
 * from the functions that the program itself runs. */
#include "base/files.h"
#include "maplint/drives.h"
#include "maplint/rules.h"
#include "rehearsal/text/files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <getopt.h>
#include <map>
#include <optional>
#include <string>

enum exit_status { exit_clean, exit_warnings, exit_errors };

namespace
{
struct lint_options {
    text reldir;
    bool nocheck;
    const char *map;
    const char *inventory; /* null: none */
};
} // namespace

static exit_status show_usage(FILE *f, const char *pname)
{
    fprintf(f, "usage: %s [-h] [-R DIR] [-n] MAP [INVENTORY]\n", pname);
    return f == stdout ? exit_clean : exit_errors;
}

/* Returns nothing to go on, else the exit status. */
static std::optional<exit_status> parse_options(int argc, char *argv[], lint_options *opts)
{
    int option_char;
    while ((option_char = getopt(argc, argv, "R:hn")) != -1) {
        switch (option_char) {
        case 'R':
            opts->reldir = optarg;
            break;
        case 'n':
            opts->nocheck = true;
            break;
        case 'h':
            return show_usage(stdout, argv[0]);
        default:
            return show_usage(stderr, argv[0]);
        }
    }
    const int left = argc - optind;
    if (left != 1 && left != 2) return show_usage(stderr, argv[0]);
    opts->map = argv[optind];
    opts->inventory = left == 2 ? argv[optind + 1] : nullptr;
    return {};
}

/* Reads the inventory and shows its drives. Returns false after a message. */
static bool lint_inventory(const char *pathname, const std::vector<rule> &rules, findings *all)
{
    std::string content;
    if (!rehearsal::read_file(pathname, content)) {
        perror(pathname);
        return false;
    }
    const rehearsal::inventory machine = rehearsal::parse_inventory(content);
    for (const std::string &bad_line : machine.errors)
        fprintf(stderr, "%s:%s\n", pathname, bad_line.c_str());
    if (!machine.errors.empty()) return false;
    show_drives(rules, machine.drives, all);
    return true;
}

/* Prints the findings in the order of the map's lines, each once: one may have been said of several drives.
 * Returns the exit status they stand for. */
static exit_status report(const char *map, const findings &all)
{
    std::map<unsigned, findings> by_line;
    for (const finding &f : all) {
        findings &said = by_line[f.line];
        if (std::find(said.begin(), said.end(), f) == said.end()) said.push_back(f);
    }
    exit_status worst = exit_clean;
    for (const auto &[line, said] : by_line)
        for (const finding &f : said) {
            const std::string place = line == whole_map ? "" : std::to_string(line) + ":";
            printf("%s:%s %s: %s\n", map, place.c_str(), f.level == error ? "error" : "warning",
                   f.what.c_str());
            worst = std::max(worst, f.level == error ? exit_errors : exit_warnings);
        }
    return worst;
}

int main(int argc, char *argv[])
{
    lint_options opts = {};
    if (const auto status = parse_options(argc, argv, &opts)) return *status;

    findings all;
    const auto rules = read_rules(opts.map, opts.reldir, opts.nocheck ? nullptr : is_readable, &all);
    if (!rules) {
        if (errno != EINVAL) perror(opts.map); /* else it has been said */
        return exit_errors;
    }
    check_repeated_rules(*rules, &all);
    const bool inventory_is_good = !opts.inventory || lint_inventory(opts.inventory, *rules, &all);
    const exit_status worst = report(opts.map, all);
    return inventory_is_good ? worst : exit_errors;
}
