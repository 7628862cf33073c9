/* identify.h - asking a directly attached drive who it is and how large it is. */
#pragma once

#include "device/dev.h"

namespace sgen
{

/* Fills vendor, model, rev, serial, maxlba and blklen from ATA IDENTIFY DEVICE; opens the drive's sg node
 * first when none is open. Returns 1; 0 when the drive does not answer it (a SCSI drive does not). */
int get_ATA_info(Dev *dev);

/* Sets serial from the unit serial number page, or to "<unknown>" when the drive refuses it. */
void get_SCSI_serial(Dev *dev);

/* Sets maxlba and blklen of a SCSI drive from READ CAPACITY; an ATA drive has them from IDENTIFY DEVICE.
 * Returns 1, or 0 when the drive does not tell. */
int rdcap(Dev *dev);

/* Reads the running firmware revision into target_rev. On failure target_rev is left as it is, and a SCSI
 * drive's serial becomes "<unknown>". */
void get_fw_version(Dev *dev);

/* Opens "/dev/<name>" for reading and writing into dev->fd, close-on-exec: a flashing tool inherits no drive.
 * Returns true, or false with a message. */
bool open_sg_node(Dev *dev, const std::string &name);

} // namespace sgen
