#include "core/options.h"

#include <cstdio>

const char short_options[] = "?AM:R:Vfhklnv";

const option options[] = {
  /* name      argument           flag     value */
    {"list",    no_argument,       nullptr, 'l'},
    {"targets", required_argument, nullptr, 'T'}, /* T is no short option */
    {"nocheck", no_argument,       nullptr, 'n'},
    {nullptr,   0,                 nullptr, 0  },
};

static const char *const help_lines[] = {
    "    -A: show all drives\n",
    "    -k: keep script after download\n",
    "    -f: force update\n",
    "    -v: increase verbosity\n",
    "    -?, -h: show this help\n",
    "    -M <mapfile>: use <mapfile> rather than Map.txt\n",
    "    -R <reldir>: look for files in <reldir> rather than in /\n",
    "    -V: show program version(s)\n",
};

void help(const char *pname, int verbose_help)
{
    fprintf(stderr, "usage: %s [-AVkhv?] [-M <mapfile>] [-R <reldir>]\n", pname);
    if (!verbose_help) return;
    for (const char *line : help_lines)
        fputs(line, stderr);
}

parse_result parse_options(int argc, char *argv[], run_options *opts)
{
    int option_char;
    while ((option_char = getopt_long(argc, argv, short_options, options, nullptr)) != -1) {
        switch (option_char) {
        case 'A':
            opts->show_all = 1;
            break;
        case 'M':
            opts->mapname = optarg;
            opts->M_opt = 1;
            break;
        case 'R':
            opts->reldir = optarg;
            break;
        case 'T':
            opts->targets = opts->targets ? *opts->targets + ":" + optarg : optarg;
            break;
        case 'V':
            ++opts->show_version;
            break;
        case 'f':
            opts->force_update = 1;
            break;
        case 'k':
            opts->keep_script = 1;
            break;
        case 'l':
            opts->list_only = 1;
            break;
        case 'n':
            opts->nocheck = 1;
            break;
        case 'v':
            ++opts->verbose;
            break;
        default:
            /* The parser leaves the offending character in optopt: 0 means that help was asked for, and also
             * that a long option is unknown. */
            if (optopt == 0) {
                help(argv[0], 1);
                return parse_help_shown;
            }
            help(argv[0], 0);
            ++opts->errors;
        }
    }
    return parse_done;
}
