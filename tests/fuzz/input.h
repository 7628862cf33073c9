/* input.h - a fuzzer's bytes, taken apart from front to back. What is not there any more reads as 0 or as
 * empty, so every input is a valid one. */
#pragma once

#undef NDEBUG /* promises that are broken must be told */
#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

struct input {
    std::string_view left;

    /* Copies what there is of `size` bytes to dst. */
    void take(void *dst, size_t size) { left.remove_prefix(left.copy(static_cast<char *>(dst), size)); }

    /* A little-endian number of so many bytes. */
    template <typename Number = uint32_t>
    Number number(size_t nbytes)
    {
        Number value = 0;
        take(&value, nbytes);
        return value;
    }

    /* The text up to the next line end, which is passed over, or to the first NUL in it. */
    std::string line()
    {
        const std::string text(left.substr(0, left.find('\n')));
        left.remove_prefix(std::min(left.size(), text.size() + 1));
        return text.c_str();
    }

    /* Overwrites pieces of dst: each a length byte, two bytes of position, and content; a length of 0 ends
     * them. */
    void patch(uint8_t *dst, size_t size)
    {
        for (size_t len; size > 0 && (len = number(1)) != 0;) {
            const size_t at = number(2) % size;
            take(dst + at, std::min(len, size - at));
        }
    }
};
