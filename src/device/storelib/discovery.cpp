#include "device/storelib/discovery.h"

namespace storelib
{

void init_storelib(const text &) {}

GList *scan_devices_storelib(GList *devlist)
{
    return devlist;
}

void exit_storelib() {}

} // namespace storelib
