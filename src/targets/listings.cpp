#include "targets/listings.h"

#include "base/settings.h"
#include "device/dev.h"

#include <cstdio>

void list_one_device(gpointer data, gpointer)
{
    FILE *const f = stdout;
    const auto *dev = static_cast<const Dev *>(data);
    const std::string image = dev->image ? "\"" + std::string(last_component(dev->image)) + "\"" : "-";
    fprintf(f, "%s,%u,%u,%s,\"%s\",%s,%s,%s;\n", shown(dev->adapter), dev->unit_host, dev->slot_id,
            shown_on(f, dev->vendor).c_str(), shown_on(f, dev->model).c_str(), shown_on(f, dev->rev).c_str(),
            dev->target_rev ? shown_on(f, dev->target_rev).c_str() : "-", image.c_str());
}

static void print_result(FILE *f, const Dev *dev)
{
    const bool successful = dev->fw_update_successful != 0;
    fprintf(f, "%s,%u,%u,%s,%s,%s;\n", shown(dev->adapter), dev->unit_host, dev->slot_id,
            successful ? "SUCCESS" : "FAILED", shown_on(f, dev->rev).c_str(),
            successful ? shown_on(f, dev->target_rev).c_str() : shown_on(f, dev->rev).c_str());
}

void list_one_download_status(gpointer data, gpointer user_data)
{
    const auto *dev = static_cast<const Dev *>(data);
    if (verbose)
        fprintf(stderr, "list_one_download_status(data=%p, user_data=%p) dev=[%s,%u,%u]\n", data, user_data,
                shown(dev->adapter), dev->unit_host, dev->slot_id);
    if (!dev->selected) {
        if (verbose) fprintf(stderr, "    NOT selected\n");
        return;
    }
    if (verbose) print_result(stderr, dev);
    print_result(stdout, dev);
    fflush(stdout);
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
    fprintf(stderr, "dev @ %p:\n", data);
    if (!dev) return;
    fprintf(stderr, "    selected=%d\n", dev->selected);
    fprintf(stderr, "    adapter=%s\n", dev->adapter ? dev->adapter->c_str() : "NULL");
    fprintf(stderr, "    ctrlId=%u unit_host=%u slot_id=%u drv=%u\n", dev->ctrlId, dev->unit_host,
            dev->slot_id, dev->drv);
    fprintf(stderr, "    fd=%d\n", dev->fd);
    fprintf(stderr, "    ProcessLibCommand=%p\n", dev->ProcessLibCommand);
    fprintf(stderr, "    interface=%c (%s)\n", dev->interface,
            dev->interface == interface_scsi ? "SCSI" : "SATA");
    fprintf(stderr, "    maxlba=%#llx, blklen=%u\n", static_cast<unsigned long long>(dev->maxlba),
            static_cast<unsigned>(dev->blklen));
    fprintf(stderr, "    vendor=%s model=%s rev=%s serial=%s\n", shown_on(stderr, dev->vendor).c_str(),
            shown_on(stderr, dev->model).c_str(), shown_on(stderr, dev->rev).c_str(),
            shown_on(stderr, dev->serial).c_str());
    fprintf(stderr, "    image=%s\n", dev->image ? dev->image : "NULL");
    fprintf(stderr, "    do_load_unload=%p get_SMART=%p fw_update=%p start_locate=%p end_locate=%p\n",
            address(dev->do_load_unload), address(dev->get_SMART), address(dev->fw_update),
            address(dev->start_locate), address(dev->end_locate));
    fprintf(stderr, "    locate_pid=%u\n", static_cast<unsigned>(dev->locate_pid));
}
