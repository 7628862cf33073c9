#include "base/dump.h"

#include <cctype>
#include <cstdint>
#include <cstdio>

constexpr uint32_t row_bytes = 16;

void dump(const char *what, const void *data, size_t nbytes)
{
    const auto *bytes = static_cast<const uint8_t *>(data);
    const auto count = static_cast<uint32_t>(nbytes);
    char column[row_bytes + 1] = "";

    fprintf(stderr, "*** %s:\n", what);
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t at = i % row_bytes;
        if (at == 0) fprintf(stderr, "%08x:", i);
        fprintf(stderr, " %02x", bytes[i]);
        column[at] = isprint(bytes[i]) ? static_cast<char>(bytes[i]) : '.';
        column[at + 1] = '\0';
        if (at == row_bytes - 1) fprintf(stderr, " %s\n", column);
    }
    if (count % row_bytes != 0) fprintf(stderr, " %s\n", column);
}
