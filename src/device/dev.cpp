#include "device/dev.h"

#include <cstdio>
#include <unistd.h>

constexpr size_t device_name_size = 64;

const char *device_name(const Dev *dev)
{
    static char name[device_name_size];
    snprintf(name, sizeof name, "%s [%d,%d]", shown(dev->adapter), static_cast<int>(dev->unit_host),
             static_cast<int>(dev->slot_id));
    return name;
}

gint compare_devices(gconstpointer a, gconstpointer b)
{
    const auto *first = static_cast<const Dev *>(a);
    const auto *second = static_cast<const Dev *>(b);
    if (first->unit_host != second->unit_host) return static_cast<gint>(first->unit_host - second->unit_host);
    return static_cast<gint>(first->slot_id - second->slot_id);
}

void is_in_list(gpointer data, gpointer user_data)
{
    const auto *listed = static_cast<const Dev *>(data);
    auto *found = static_cast<Dev *>(user_data);
    if (listed->vendor == found->vendor && listed->model == found->model && listed->serial == found->serial)
        found->selected = 0;
}

int is_new_device(GList *list, Dev *dev)
{
    dev->selected = 1;
    g_list_foreach(list, is_in_list, dev);
    return dev->selected;
}

Dev *new_dev()
{
    auto *dev = new Dev{};
    dev->fd = -1;
    dev->locate_pid = -1;
    return dev;
}

void free_one_dev(gpointer data)
{
    auto *dev = static_cast<Dev *>(data);
    if (dev->fd != -1) close(dev->fd);
    delete dev;
}
