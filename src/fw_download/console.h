/* console.h - what the operator, or a log, is told. Nothing here fails: a download goes on when nobody
 * listens. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace fw_download
{

struct console {
    int out = 1;   /* descriptor of what was done */
    int err = 2;   /* descriptor of faults and details */
    int debug = 0; /* 1: each command and how it ended; 2: command blocks and sense data; 3: data */
    bool is_impatient = false; /* drop what a stopped terminal or a full pipe does not take at once */
};

/* Opens /dev/null in place of each standard descriptor that is closed, so that no node opened later becomes
 * what messages are written to. Returns false when that is impossible. */
bool open_standard_descriptors();

/* printf to con.out. */
__attribute__((format(printf, 2, 3))) void say(const console &con, const char *fmt, ...);

/* The program's name and printf to con.err, a line of its own. */
__attribute__((format(printf, 2, 3))) void complain(const console &con, const char *fmt, ...);

/* printf to con.err when details of this level are wanted. */
__attribute__((format(printf, 3, 4))) void detail(const console &con, int level, const char *fmt, ...);

/* `data` in rows of 16 hexadecimal bytes to con.err when details of this level are wanted. */
void detail_bytes(const console &con, int level, std::span<const uint8_t> data);

} // namespace fw_download
