#include "targets/marks.h"

static void count(bool counts, gpointer counter)
{
    if (counts) ++*static_cast<unsigned *>(counter);
}

void count_selected(gpointer data, gpointer user_data)
{
    count(static_cast<const Dev *>(data)->selected != 0, user_data);
}

void count_failed(gpointer data, gpointer user_data)
{
    count(static_cast<const Dev *>(data)->failed != 0, user_data);
}

void count_drives_with_image(gpointer data, gpointer user_data)
{
    count(static_cast<const Dev *>(data)->image != nullptr, user_data);
}

void clear_selected_one(gpointer data, gpointer)
{
    static_cast<Dev *>(data)->selected = 0;
}

void reset_device_node(gpointer data, gpointer)
{
    auto *dev = static_cast<Dev *>(data);
    dev->selected = 0;
    dev->failed = 0;
    dev->image = nullptr;
}

void reload_fw_version(gpointer data, gpointer)
{
    auto *dev = static_cast<Dev *>(data);
    dev->get_fw_version(dev);
}
