/* ata_passthrough.h - ATA commands to SATA drives behind a controller, each as a Register Host-to-Device FIS
 * (SATA). */
#pragma once

#include "device/ata.h"
#include "device/dev.h"

#include <cstddef>
#include <cstdint>

namespace storelib
{

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
