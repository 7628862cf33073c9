#include "base/dump.h"

#include "base/trace.h"

#include <cctype>
#include <cstdint>

constexpr uint32_t row_bytes = 16;

void dump(const char *what, const void *data, size_t nbytes)
{
    const auto *bytes = static_cast<const uint8_t *>(data);
    const auto count = static_cast<uint32_t>(nbytes);
    char column[row_bytes + 1] = "";

    say("*** %s:\n", what);
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t at = i % row_bytes;
        if (at == 0) say("%08x:", i);
        say(" %02x", bytes[i]);
        column[at] = isprint(bytes[i]) ? static_cast<char>(bytes[i]) : '.';
        column[at + 1] = '\0';
        if (at == row_bytes - 1) say(" %s\n", column);
    }
    if (count % row_bytes != 0) say(" %s\n", column);
}
