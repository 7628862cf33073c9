/* update_args.h - how far an update is, for everybody who has a part in it. */
#pragma once

#include <cstdint>
#include <cstdio>

struct update_args {
    uint32_t i;           /* number of the drive being flashed, counted from 1 */
    uint32_t total;       /* number of selected drives; set by the caller */
    FILE *script;         /* the script being written; null when none is open */
    const char *log_path; /* borrowed */
    uint32_t numerrors;   /* drives whose download failed */
    int yes;              /* non-zero: an unattended run; set by the caller */
};
