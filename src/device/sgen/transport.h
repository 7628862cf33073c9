/* transport.h - command blocks to a drive and back, through the SG_IO request of the Linux SCSI generic
 * driver. */
#pragma once

#include "device/dev.h"

#include <cstddef>
#include <cstdint>

/* Sense key x 65536 + additional sense code x 256 + qualifier of the last command that ended with a bad SCSI
 * status, read at their fixed-format positions; 0 after any other outcome. For a debugger: the program does
 * not read it. Each thread has its own. */
extern thread_local uint32_t scsi_error;

namespace sgen
{

/* Send one command block of cdblen (at most 16) bytes to the drive's open sg node, without data, with datalen
 * bytes received into datap, or with datalen bytes sent from datap. Wait up to 10 s. Return 1 on success, and
 * also when the drive returns ATA registers with a recovered-error CHECK CONDITION in descriptor format; else
 * 0. Host and driver errors and a request that the kernel refuses are reported, a CHECK CONDITION in verbose
 * mode only, since discovery asks drives for things that many refuse. A longer command block aborts the
 * process: it is a programming error. */
int scsi_cmd_nodata(Dev *dev, const uint8_t *cdb, size_t cdblen);
int scsi_cmd_in(Dev *dev, const uint8_t *cdb, size_t cdblen, void *datap, size_t datalen);
int scsi_cmd_out(Dev *dev, const uint8_t *cdb, size_t cdblen, const void *datap, size_t datalen);

} // namespace sgen
