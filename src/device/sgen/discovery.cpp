#include "device/sgen/discovery.h"

#include "base/handles.h"
#include "base/settings.h"
#include "base/trace.h"
#include "device/dev.h"
#include "device/sgen/cycling.h"
#include "device/sgen/identify.h"
#include "device/sgen/locate.h"
#include "device/sgen/operations.h"
#include "device/sgen/sysfs.h"
#include "device/sgen/transport.h"

#include <cstdio>
#include <cstring>

namespace sgen
{

constexpr unsigned type_disk = 0; /* peripheral device type, SPC */

static constexpr dev_operations sgen_operations = {
    .do_load_unload = do_unload_load,
    .get_SMART = get_SMART,
    .fw_update = fw_update,
    .start_locate = start_locate,
    .end_locate = end_locate,
    .dump_all_log_pages = nullptr,
    .get_fw_version = get_fw_version,
    .scsi_cmd_out = scsi_cmd_out,
    .scsi_cmd_in = scsi_cmd_in,
    .is_Tirsel_3 = is_Tirsel_3,
    .get_device_info = get_device_info,
};

namespace
{
struct scsi_address {
    unsigned host;
    unsigned target;
};
} // namespace

/* Takes apart "host:channel:target:lun", four unsigned decimal numbers and nothing else. */
static bool parse_address(const char *name, scsi_address *address)
{
    unsigned channel;
    unsigned lun;
    char behind;
    if (strspn(name, "0123456789:") != strlen(name)) return false; /* scanf would take signs and blanks */
    // NOLINTNEXTLINE(cert-err34-c): a number that overflows is no name the kernel gives
    return sscanf(name, "%u:%u:%u:%u%c", &address->host, &channel, &address->target, &lun, &behind) == 4;
}

static text read_identity_attribute(const std::string &hcil, const char *attribute)
{
    text value = get_first_line_from_file(device_attribute(hcil, attribute).c_str());
    if (value) stripblanks(*value);
    return value;
}

static void read_SCSI_identity(Dev *dev, const std::string &hcil)
{
    dev->model = read_identity_attribute(hcil, "model");
    dev->vendor = read_identity_attribute(hcil, "vendor");
    dev->rev = read_identity_attribute(hcil, "rev");
    get_SCSI_serial(dev);
}

static bool begins_with(const text &t, const char *prefix)
{
    return t && t->starts_with(prefix);
}

/* Opens the sg node of a SCSI device that is a disk. Returns 1, or 0 when it is none or has no node that
 * opens. */
static int open_disk(Dev *dev, const std::string &hcil)
{
    const unsigned type = get_uint_from_file(device_attribute(hcil, "type").c_str());
    if (type != type_disk) {
        trace("%s is not a DISK but type %u\n", hcil.c_str(), type);
        return 0;
    }
    const text node = link_target_name(device_attribute(hcil, "generic"));
    if (!node) {
        trace("Failed to read generic device link\n");
        return 0;
    }
    return open_sg_node(dev, *node);
}

/* Record of the drive behind one entry, ready for the list; null when it does not belong there. */
static dev_ptr scan_one_device(GList *devlist, const char *name)
{
    scsi_address address;
    if (!parse_address(name, &address)) return nullptr;
    if (ignore_host(address.host)) {
        trace("%u:0:%u:0 is USB\n", address.host, address.target);
        return nullptr;
    }

    const std::string hcil = name;
    dev_ptr dev(new_dev(sgen_operations));
    dev->unit_host = address.host;
    dev->slot_id = address.target;
    if (!open_disk(dev.get(), hcil)) return nullptr;

    if (!get_ATA_info(dev.get())) read_SCSI_identity(dev.get(), hcil);
    const bool is_new = is_new_device(devlist, dev.get());
    const bool is_logical_disk = begins_with(dev->vendor, "LSI");
    if (!is_new || is_logical_disk) return nullptr;

    dev->interface = begins_with(dev->vendor, "ATA") ? interface_ata : interface_scsi;
    if (!rdcap(dev.get())) return nullptr;

    dev->adapter = find_block(hcil);
    if (verbose) {
        say("Vendor=\"%s\", Model=\"%s\", Rev=\"%s\", Serial=\"%s\"\n", shown_on(stderr, dev->vendor).c_str(),
            shown_on(stderr, dev->model).c_str(), shown_on(stderr, dev->rev).c_str(),
            shown_on(stderr, dev->serial).c_str());
        say("Adding new %s [%d,%d] V=%s M=%s R=%s I=%s\n", shown(dev->adapter),
            static_cast<int>(dev->unit_host), static_cast<int>(dev->slot_id),
            shown_on(stderr, dev->vendor).c_str(), shown_on(stderr, dev->model).c_str(),
            shown_on(stderr, dev->rev).c_str(), dev->image ? dev->image : "(null)");
    }
    return dev;
}

GList *scan_devices_sgen(GList *devlist)
{
    trace("scan_devices_sgen(devlist=%p)\n", static_cast<void *>(devlist));
    const dir_ptr dir(opendir(scsi_device_root));
    if (!dir) {
        report_error(scsi_device_root);
        return nullptr;
    }
    trace("\"%s\" opened successfully, handle=%p\n", scsi_device_root, static_cast<void *>(dir.get()));

    while (const dirent *entry = readdir(dir.get())) {
        trace("Entry \"%s\"\n", entry->d_name);
        dev_ptr dev = scan_one_device(devlist, entry->d_name);
        if (dev) devlist = g_list_insert_sorted(devlist, dev.release(), compare_devices);
    }
    return devlist;
}

} // namespace sgen
