/* ring.h - the kernel's target framework in user space: its ring of requests, which has no C++ header. */
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/uio.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { ring_sense_size = 96 };

/* Answers a command; its data come in, or are to be put into, the pieces. Returns the SCSI status. */
uint8_t answer_command(const uint8_t *cdb, const struct iovec *pieces, size_t count,
                       uint8_t sense[ring_sense_size]);

/* Serves the ring of /dev/uioN, len bytes long. Returns when that fails. */
void serve_ring(const char *uio, size_t len);

#ifdef __cplusplus
}
#endif
