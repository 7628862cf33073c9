/* passthrough.h - commands to drives behind a controller, wrapped into the library's pass-through requests:
 * SCSI commands to SAS and parallel drives, ATA commands as a Register Host-to-Device FIS (SATA) to SATA
 * drives. */
#pragma once

#include "device/ata.h"
#include "device/dev.h"
#include "device/storelib/abi.h"

#include <cstddef>
#include <cstdint>

namespace storelib
{

/* Sends a request through the drive's library, its address filled in. Returns the library's status. */
uint32_t call_library(const Dev *dev, _SL_LIB_CMD_PARAM_T *request);

/* Send a SCSI command of cdblen (at most 16) bytes without data, with `size` bytes received into buffer, or
 * with `size` bytes sent from it. Return 1; 0 after a message with the SCSI status, buffer then unchanged. */
int SCSI_cmd_nodata(Dev *dev, const uint8_t *cdb, size_t cdblen);
int SCSI_cmd_in(Dev *dev, const uint8_t *cdb, size_t cdblen, void *buffer, size_t size);
int SCSI_cmd_out(Dev *dev, const uint8_t *cdb, size_t cdblen, const void *buffer, size_t size);

/* Send an ATA command of the table without data, or with `size` bytes received into buffer. Return 1; 0 after
 * a message, buffer then unchanged. */
int SATA_cmd_nodata(Dev *dev, uint8_t command, uint16_t features, uint16_t count, uint64_t lba);
int SATA_cmd_in(Dev *dev, uint8_t command, uint16_t features, uint16_t count, uint64_t lba, void *buffer,
                size_t size);

/* Row of the ATA command table, or -1 for a command that can't be sent. */
int find_command_index(uint8_t command, uint16_t features);

/* Traces a FIS of 20 bytes on the error stream: its bytes, and its main registers. */
void show_fis(const char *when, const char *what, const uint8_t *fis);

} // namespace storelib
