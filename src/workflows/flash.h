/* flash.h - one attempt of a flashing tool: the child process, and what its end means. */
#pragma once

#include "device/dev.h"

#include <cstdint>
#include <cstdio>

/* How far an update is, for everybody who has a part in it. */
struct update_args {
    uint32_t i;           /* number of the drive being flashed, counted from 1 */
    uint32_t total;       /* number of selected drives; set by the caller */
    FILE *script;         /* the script being written; null when none is open */
    const char *log_path; /* borrowed */
    uint32_t numerrors;   /* drives whose download failed */
    int yes;              /* non-zero: an unattended run; set by the caller */
};

enum attempt_result {
    attempt_succeeded,
    attempt_failed,
    attempt_not_started, /* no child could be made */
};

/* Runs cmd as a child, its output appended to the log, waits for its end, judges it and writes the result to
 * the log (and a failure to the error stream); line is the command for messages. An interactive run shows a
 * spinner and the result on standard output. Until the log is closed again, signals that end the program
 * wait: a drive is never left half-written. */
attempt_result flash_once(Dev *dev, const Cmd &cmd, const char *line, const update_args &args);

/* What the child's wait status means for the drive. Writes failures to the error stream and to the log (may
 * be null). Exit status 46 counts as success behind the one controller model that reports it for nothing on
 * one drive family, if the drive is found to run the new revision. */
attempt_result judge_wait_status(Dev *dev, int wait_status, const char *line, FILE *log);
