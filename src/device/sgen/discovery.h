/* discovery.h - the disk drives that the Linux SCSI layer shows. */
#pragma once

#include "list/list.h"

namespace sgen
{

/* Adds a record with this back-end's operations for every directly attached disk drive to devlist, in the
 * order of compare_devices, and returns the list. Drives already listed, drives of ignored hosts, logical
 * disks of a RAID controller and drives that can't be opened or don't tell their capacity are left out.
 * Returns an empty list, with a message, when sysfs does not show SCSI devices. */
GList *scan_devices_sgen(GList *devlist);

} // namespace sgen
