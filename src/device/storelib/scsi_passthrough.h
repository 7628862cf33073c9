/* scsi_passthrough.h - SCSI commands to SAS and parallel drives behind a controller. */
#pragma once

#include "device/dev.h"

#include <cstddef>
#include <cstdint>

namespace storelib
{

/* Send a SCSI command of cdblen (at most 16) bytes without data, with `size` bytes received into buffer, or
 * with `size` bytes sent from it. Return 1; 0 after a message with the SCSI status, buffer then unchanged.
 * Without a message when nothing was sent, since no command has that length. The first completes the set:
 * every command that the program sends this way has data. */
int SCSI_cmd_nodata(Dev *dev, const uint8_t *cdb, size_t cdblen);
int SCSI_cmd_in(Dev *dev, const uint8_t *cdb, size_t cdblen, void *buffer, size_t size);
int SCSI_cmd_out(Dev *dev, const uint8_t *cdb, size_t cdblen, const void *buffer, size_t size);

} // namespace storelib
