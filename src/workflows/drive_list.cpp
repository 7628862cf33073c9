#include "workflows/drive_list.h"

#include "catalogue/map.h"

GList *load_drive_list(const char *mapname, const text &reldir)
{
    int errors = 0;
    GList *entries = loadMap(mapname, &errors, reldir, nullptr);
    if (errors == 0) return entries;
    g_list_free_full(entries, free_one_map);
    return nullptr;
}
