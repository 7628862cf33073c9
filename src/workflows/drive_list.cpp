#include "workflows/drive_list.h"

#include "base/settings.h"
#include "base/trace.h"
#include "catalogue/match.h"
#include "device/dev.h"
#include "targets/marks.h"

list_ptr<free_one_map> match_drive_list(GList *devlist, const char *mapname, const text &reldir,
                                        const char *task)
{
    int errors = 0;
    list_ptr<free_one_map> entries(loadMap(mapname, &errors, reldir, nullptr));
    if (errors > 0 || !entries) return nullptr;

    g_list_foreach(devlist, reset_device_node, nullptr);
    g_list_foreach(devlist, find_image, entries.get());
    trace("==========\nDevices scanned, now starting %s\n", task);
    if (verbose) g_list_foreach(devlist, dump_one_device, nullptr);
    return entries;
}
