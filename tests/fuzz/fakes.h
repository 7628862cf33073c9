/* fakes.h - a fuzzer's bytes, and the outside world of a target, whose every answer comes out of them. The
 * targets are linked so that calls of ioctl, fopen and the dynamic loader arrive in fakes.cpp. */
#pragma once

#undef NDEBUG /* broken promises must be told */
#include "device/dev.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <memory>
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

/* A record for either back-end. Over SG_IO an answer is a byte that is 0 when all goes well, else followed by
 * what goes wrong, and the data. The controller library, found wherever it is looked for, answers with pieces
 * that it writes over the request (length, two bytes of position, content; length 0 ends them), and a byte
 * that is 0 for success, else followed by a status; when the input is used up everything fails. */
std::unique_ptr<Dev, free_dev> fake_drive(char interface);

/* Data that went over SG_IO last; of what was received all the room for it, filled or not. */
extern std::vector<uint8_t> sent;
extern std::vector<uint8_t> received;

inline bool is_text(const text &t, size_t max_len)
{
    return t && t->size() <= max_len && t->find('\0') == std::string::npos;
}
