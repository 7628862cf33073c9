/* caching.h - the read-cache switch that head cycling needs. */
#pragma once

#include "device/dev.h"

namespace sgen
{

/* Sets the read-cache-disable bit of a SCSI drive's caching mode page (SBC) to the low bit of rcd. Returns
 * the bit's previous value; 0, with a message, when the drive refuses. */
uint32_t set_RCD(Dev *dev, uint32_t rcd);

} // namespace sgen
