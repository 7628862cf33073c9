#include "workflows/unload_load.h"

#include "device/dev.h"
#include "workflows/drive_list.h"

#include <cstdio>

constexpr uint32_t cycles_per_drive = 10;
constexpr char task_name[] = "Grease Wear Levelling";

/* List callback: cycles one drive; user_data is an unsigned counter of the drives cycled. */
static void do_unload_load_cycles_one_dev(gpointer data, gpointer user_data)
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
    const list_ptr<free_one_map> entries = match_drive_list(devlist, mapname, reldir, "Unload/Load");
    if (!entries) return new_status(task_name, status_fail);

    unsigned drives = 0; /* whatever the list says of them: it only has to load */
    g_list_foreach(devlist, do_unload_load_cycles_one_dev, &drives);
    return new_status(format_text(question_size, "%s (%u drives)", task_name, drives),
                      drives > 0 ? status_ok : status_none);
}
