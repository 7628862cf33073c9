/* status.h - one line of the summary page: what a maintenance task was and how it ended. */
#pragma once

#include <string>

struct status {
    std::string name;   /* the line's label, such as "Download Firmware (3 drives)" */
    const char *status; /* one of the constants below; not owned */
};

constexpr char status_ok[] = "OK";
constexpr char status_fail[] = "FAIL";
constexpr char status_none[] = "N/A";

/* A new line, owned by the caller; result is one of the constants above. */
status *new_status(std::string name, const char *result);

/* Releases one line (a list's release callback). */
void free_one_status(void *data);
