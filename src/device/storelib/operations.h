/* operations.h - head movement, flashing and locate LED of drives behind a controller (see device/dev.h). */
#pragma once

#include "device/dev.h"

namespace storelib
{

/* Sends the heads `count` times between the first and the last block. Failing commands do not end it; a
 * request to end the program does, between two cycles. */
void do_unload_load(Dev *dev, uint32_t count);

/* The command line of the controller's own flashing tool; null when none is installed. */
std::unique_ptr<Cmd> fw_update(Dev *dev);

/* Has the controller blink the slot's LED, and stop it. */
void start_locate(Dev *dev);
void end_locate(Dev *dev);

} // namespace storelib
