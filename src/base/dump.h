/* dump.h - hex dump to the error stream. */
#pragma once

#include <cstddef>

/* Writes "*** what:" and the bytes in rows of 16: offset, hex, then the printable characters ('.' for the
 * others). The short last row is not padded, so its text column does not line up with the full rows'. */
void dump(const char *what, const void *data, size_t nbytes);
