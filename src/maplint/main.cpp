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

static int usage(const char *pname)
{
    fprintf(stderr, "usage: %s [-R DIR] [-n] MAP [INVENTORY]\n", pname);
    return 0;
}

/* Returns 1, or 0 after the usage line. */
static int parse_options(int argc, char *argv[], lint_options *opts)
{
    int option_char;
    while ((option_char = getopt(argc, argv, "R:n")) != -1) {
        switch (option_char) {
        case 'R':
            opts->reldir = optarg;
            break;
        case 'n':
            opts->nocheck = true;
            break;
        default:
            return usage(argv[0]);
        }
    }
    const int left = argc - optind;
    if (left != 1 && left != 2) return usage(argv[0]);
    opts->map = argv[optind];
    opts->inventory = left == 2 ? argv[optind + 1] : nullptr;
    return 1;
}

/* Reads the inventory and shows its drives. Returns 1, or 0 after a message. */
static int lint_inventory(const char *pathname, const std::vector<rule> &rules, findings *all)
{
    std::string content;
    if (!rehearsal::read_file(pathname, content)) {
        perror(pathname);
        return 0;
    }
    const rehearsal::inventory machine = rehearsal::parse_inventory(content);
    for (const std::string &bad_line : machine.errors)
        fprintf(stderr, "%s:%s\n", pathname, bad_line.c_str());
    if (!machine.errors.empty()) return 0;
    show_drives(rules, machine.drives, all);
    return 1;
}

/* Prints the findings in the order of the map's lines. Returns the exit status they stand for. */
static exit_status report(const char *map, findings all)
{
    std::stable_sort(all.begin(), all.end(),
                     [](const finding &a, const finding &b) { return a.line < b.line; });
    all.erase(std::unique(all.begin(), all.end()), all.end()); /* said of several drives */
    exit_status worst = exit_clean;
    for (const finding &f : all) {
        printf("%s:%u: %s: %s\n", map, f.line, f.level == error ? "error" : "warning", f.what.c_str());
        worst = std::max(worst, f.level == error ? exit_errors : exit_warnings);
    }
    return worst;
}

int main(int argc, char *argv[])
{
    lint_options opts = {};
    if (!parse_options(argc, argv, &opts)) return exit_errors;

    findings all;
    const auto rules = read_rules(opts.map, opts.reldir, opts.nocheck ? nullptr : is_readable, &all);
    if (!rules) {
        if (errno != EINVAL) perror(opts.map); /* else it has been said */
        return exit_errors;
    }
    check_repeated_rules(*rules, &all);
    const bool inventory_is_good = !opts.inventory || lint_inventory(opts.inventory, *rules, &all);
    const exit_status worst = report(opts.map, std::move(all));
    return inventory_is_good ? worst : exit_errors;
}
