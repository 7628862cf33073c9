/* effects.h - the ways in which a command can go wrong: words of the inventory. */
#pragma once

#include "rehearsal/profile/command.h"

#include <string_view>

namespace rehearsal
{

struct fault;

/* Where the answer is taken hold of. */
enum effect_time {
    before_command, /* the drive's own logic never sees it */
    after_command,
    after_command_or_request, /* also that of a request to a controller's library */
};

struct effect {
    const char *word;
    const char
        *value; /* of the word, as the usage shows it; a ':' stands in front of each operand of the fault */
    effect_time time;
    bool has_number; /* of the operands: a status, length or offset, as `apply` takes it */
    bool has_bytes;
    void (*apply)(const fault &f, const request &req, reply &r, outcome &out);
};

/* The word's effect; null for another word. */
const effect *find_effect(std::string_view word);

/* "status" is the one that a library's request ends with in place of its answer. */
bool is_library_status(const effect &what);

} // namespace rehearsal
