/* discovery.h - the disk drives behind RAID controllers. */
#pragma once

#include "base/text.h"
#include "list/list.h"

namespace storelib
{

void init_storelib(const text &reldir);
GList *scan_devices_storelib(GList *devlist);
void exit_storelib();

} // namespace storelib
