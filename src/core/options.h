/* options.h - the command line. */
#pragma once

#include "base/text.h"

#include <getopt.h>

struct run_options {
    std::string mapname; /* firmware map */
    int M_opt;           /* the map was named with -M */
    text reldir;         /* root directory given with -R */
    text targets;        /* target lists, joined with ':' */
    int list_only;
    int nocheck; /* don't check images for readability */
    int show_version;
    int show_all;
    int force_update;
    int keep_script;
    int verbose; /* how often it was asked for */
    int errors;  /* options that the parser rejected */
};

enum parse_result { parse_done, parse_help_shown };

extern const char short_options[];
extern const option options[]; /* the long ones */

/* Takes apart the command line into *opts. Returns parse_help_shown after the full help, which ends the
 * program. */
parse_result parse_options(int argc, char *argv[], run_options *opts);

/* Writes the usage line, and with a non-zero verbose_help the options, to the error stream. */
void help(const char *pname, int verbose_help);
