/* cycling.h - full-stroke head movement between the first and the last block. */
#pragma once

#include "device/dev.h"

namespace sgen
{

/* Sends the heads `count` times from the first block to the last and back, by reading one block at each end
 * past any cache. Failing commands do not end it; a request to end the program does, between two cycles. */
void do_unload_load(Dev *dev, uint32_t count);

} // namespace sgen
