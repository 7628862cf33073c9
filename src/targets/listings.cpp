#include "targets/listings.h"

#include "base/settings.h"
#include "base/trace.h"

#include <cstdio>

constexpr size_t unit_drive_size = 9;

void list_one_device(gpointer data, gpointer)
{
    FILE *const f = stdout;
    const auto *dev = static_cast<const Dev *>(data);
    const std::string image = dev->image ? format_text(path_size, "\"%s\"", last_component(dev->image)) : "-";
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
    trace("list_one_download_status(data=%p, user_data=%p) dev=[%s,%u,%u]\n", data, user_data,
          shown(dev->adapter), dev->unit_host, dev->slot_id);
    if (!dev->selected) {
        trace("    NOT selected\n");
        return;
    }
    if (verbose) print_result(stderr, dev);
    print_result(stdout, dev);
    fflush(stdout);
}

std::string unit_drive_column(const Dev *dev)
{
    return format_text(unit_drive_size, "%d,%d", static_cast<int>(dev->unit_host),
                       static_cast<int>(dev->slot_id));
}
