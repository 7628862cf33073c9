/* discovery.h - the disk drives behind the controllers. */
#pragma once

#include "list/list.h"

namespace storelib
{

/* Adds a record with this back-end's operations for every disk drive of every known controller to devlist, in
 * the order of compare_devices, and returns the list. Drives already listed are left out. */
GList *scan_devices_storelib(GList *devlist);

} // namespace storelib
