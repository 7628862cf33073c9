#include "workflows/locate.h"

#include "device/dev.h"

void end_locate(gpointer data, gpointer)
{
    auto *dev = static_cast<Dev *>(data);
    if (!dev->selected || !dev->end_locate) return;
    dev->end_locate(dev);
    dev->selected = 0;
}

int toggle_locate(GList *, gpointer node_data)
{
    auto *dev = static_cast<Dev *>(node_data);
    if (!dev) return 0;
    if (dev->selected) {
        end_locate(dev, nullptr);
    } else if (dev->start_locate) {
        dev->start_locate(dev);
        dev->selected = 1;
    }
    return 0;
}
