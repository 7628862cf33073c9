/* input.h - a fuzzer's bytes, out of which every answer of a target's outside world comes. The targets are
 * linked so that calls of fopen and the dynamic loader arrive in input.cpp. */
#pragma once

#include "../fakes/boundary.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

/* Taken apart from front to back. What is not there any more reads as 0 or as empty. */
struct input {
    std::string_view left;

    void take(void *dst, size_t size) { left.remove_prefix(left.copy(static_cast<char *>(dst), size)); }
    uint32_t number(size_t nbytes); /* little-endian */
    std::string line();             /* up to the next line end, which is passed over */
};

extern std::string file_content; /* of every file */

/* Data that went over SG_IO last; of what was received all the room for it, filled or not. Over SG_IO an
 * answer is a byte that is 0 when all goes well, else followed by what goes wrong, and the data. The
 * controller library, found wherever it is looked for, answers with pieces that it writes over the request
 * (length, two bytes of position, content; length 0 ends them), and a byte that is 0 for success, else
 * followed by a status; when the input is used up everything fails. */
extern std::vector<uint8_t> sent;
extern std::vector<uint8_t> received;

inline bool is_text(const text &t, size_t max_len)
{
    return t && t->size() <= max_len && t->find('\0') == std::string::npos;
}
