#include "workflows/unload_load.h"

#include "base/settings.h"
#include "catalogue/map.h"
#include "catalogue/match.h"
#include "device/dev.h"
#include "targets/marks.h"
#include "workflows/drive_list.h"

#include <cstdio>

constexpr uint32_t cycles_per_drive = 10;
constexpr char task_name[] = "Grease Wear Levelling";

void do_unload_load_cycles_one_dev(gpointer data, gpointer user_data)
{
    auto *dev = static_cast<Dev *>(data);
    fprintf(stderr, "ULL %s [%u,%u] - %s/%s/%s\n", shown(dev->adapter), dev->unit_host, dev->slot_id,
            shown_on(stderr, dev->vendor).c_str(), shown_on(stderr, dev->model).c_str(),
            shown_on(stderr, dev->rev).c_str());
    dev->do_load_unload(dev, cycles_per_drive);
    ++*static_cast<unsigned *>(user_data);
}

status *do_unload_load_cycles(GList *devlist, const char *mapname, const text &reldir)
{
    fprintf(stderr, "*** do_unload_load_cycles(mapname=\"%s\", reldir=\"%s\")\n", mapname,
            reldir ? reldir->c_str() : "NULL");
    GList *entries = load_drive_list(mapname, reldir);
    if (!entries) return new_status(task_name, status_fail);

    g_list_foreach(devlist, reset_device_node, nullptr);
    g_list_foreach(devlist, find_image, entries);
    if (verbose) {
        fprintf(stderr, "==========\nDevices scanned, now starting Unload/Load\n");
        g_list_foreach(devlist, dump_one_device, nullptr);
    }
    unsigned drives = 0;
    g_list_foreach(devlist, do_unload_load_cycles_one_dev, &drives);
    g_list_free_full(entries,
                     free_one_map); /* the images just matched go with it: every mode resets them first */
    return new_status(format_text(question_size, "%s (%u drives)", task_name, drives),
                      drives > 0 ? status_ok : status_none);
}
