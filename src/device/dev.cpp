#include "device/dev.h"

#include "base/trace.h"

#include <cstdio>
#include <unistd.h>

constexpr size_t device_name_size = 64;

const char *device_name(const Dev *dev)
{
    static thread_local char name[device_name_size];
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

static bool is_same_text(const text &a, const text &b)
{
    return a && b && *a == *b;
}

bool is_same_drive(const Dev *a, const Dev *b)
{
    return is_same_text(a->vendor, b->vendor) && is_same_text(a->model, b->model) &&
           is_same_text(a->serial, b->serial);
}

void is_in_list(gpointer data, gpointer user_data)
{
    const auto *listed = static_cast<const Dev *>(data);
    auto *found = static_cast<Dev *>(user_data);
    if (!is_same_drive(listed, found)) return;
    found->selected = 0;
    if (found->serial->empty() || *found->serial == unknown_serial)
        say("[%u,%u] taken for %s [%u,%u] and not listed: both are \"%s\" \"%s\", serial number \"%s\"\n",
            found->unit_host, found->slot_id, shown(listed->adapter), listed->unit_host, listed->slot_id,
            shown_on(stderr, found->vendor).c_str(), shown_on(stderr, found->model).c_str(),
            found->serial->c_str());
}

bool is_new_device(GList *list, Dev *dev)
{
    dev->selected = 1;
    g_list_foreach(list, is_in_list, dev);
    return dev->selected != 0;
}

Dev *new_dev(const dev_operations &ops)
{
    auto *dev = new Dev{};
    static_cast<dev_operations &>(*dev) = ops;
    dev->fd = -1;
    dev->locate_pid = -1;
    return dev;
}

/* A pointer to an operation or to a library's entry point, for "%p". */
template <typename Function>
static const void *address(Function function)
{
    return reinterpret_cast<const void *>(function);
}

void dump_one_device(gpointer data, gpointer)
{
    const auto *dev = static_cast<const Dev *>(data);
    say("dev @ %p:\n", data);
    if (!dev) return;
    say("    selected=%d\n", dev->selected);
    say("    adapter=%s\n", dev->adapter ? dev->adapter->c_str() : "NULL");
    say("    ctrlId=%u unit_host=%u slot_id=%u drv=%u\n", dev->ctrlId, dev->unit_host, dev->slot_id,
        dev->drv);
    say("    fd=%d\n", dev->fd);
    say("    ProcessLibCommand=%p\n", dev->ProcessLibCommand);
    say("    interface=%c (%s)\n", dev->interface, dev->interface == interface_scsi ? "SCSI" : "SATA");
    say("    maxlba=%#llx, blklen=%u\n", static_cast<unsigned long long>(dev->maxlba),
        static_cast<unsigned>(dev->blklen));
    say("    vendor=%s model=%s rev=%s serial=%s\n", shown_on(stderr, dev->vendor).c_str(),
        shown_on(stderr, dev->model).c_str(), shown_on(stderr, dev->rev).c_str(),
        shown_on(stderr, dev->serial).c_str());
    say("    image=%s\n", dev->image ? dev->image : "NULL");
    say("    do_load_unload=%p get_SMART=%p fw_update=%p start_locate=%p end_locate=%p\n",
        address(dev->do_load_unload), address(dev->get_SMART), address(dev->fw_update),
        address(dev->start_locate), address(dev->end_locate));
    say("    locate_pid=%u\n", static_cast<unsigned>(dev->locate_pid));
}

void free_one_dev(gpointer data)
{
    auto *dev = static_cast<Dev *>(data);
    if (dev->fd != -1) close(dev->fd);
    delete dev;
}
