/* locate.h - making a drive recognisable by its activity light. */
#pragma once

#include "device/dev.h"

namespace sgen
{

/* Starts, and stops, a child process that keeps the activity light busy on every odd second. Where no child
 * can be started there is a message, and locate_pid stays -1. */
void start_locate(Dev *dev);
void end_locate(Dev *dev);

} // namespace sgen
