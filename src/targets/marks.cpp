#include "targets/marks.h"

void count_selected(gpointer data, gpointer user_data)
{
    if (static_cast<const Dev *>(data)->selected) ++*static_cast<unsigned *>(user_data);
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

int is_RE3(const Dev *dev)
{
    return dev && dev->vendor && *dev->vendor == "ATA" && dev->model &&
           dev->model->find("WD5002ABYS-50B1B") != std::string::npos;
}
