#include "device/sgen/discovery.h"

#include "base/handles.h"
#include "base/parallel.h"
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
#include <optional>
#include <vector>

namespace sgen
{

constexpr unsigned type_disk = 0; /* peripheral device type, SPC */

/* Nearly all the time of a scan is waiting for drives, so many are asked at once. */
constexpr size_t drives_at_a_time = 32;
/* Entries that are looked at before it is settled which of them stay: a bound for the descriptors that are
 * open for duplicates. */
constexpr size_t entries_at_a_time = 256;

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

/* One entry of the directory on its way into the device list. */
struct candidate {
    std::string hcil; /* host:channel:target:lun, the entry's name */
    dev_ptr dev;      /* null: it does not belong into the list */
    bool is_ready;    /* nothing is left to ask: it belongs into the list */
    std::string said; /* its diagnostics, kept until its turn has come */
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

/* Opens the sg node of a SCSI device that is a disk. Returns true, or false when it is none or has no node
 * that opens. */
static bool open_disk(Dev *dev, const std::string &hcil)
{
    const unsigned type = get_uint_from_file(device_attribute(hcil, "type").c_str());
    if (type != type_disk) {
        trace("%s is not a DISK but type %u\n", hcil.c_str(), type);
        return false;
    }
    const text node = link_target_name(device_attribute(hcil, "generic"));
    if (!node) {
        trace("Failed to read generic device link\n");
        return false;
    }
    return open_sg_node(dev, *node);
}

/* Looks at one entry: asks the drive behind it who it is. Returns its record; null when there is no drive of
 * ours. */
static dev_ptr identify_drive(const std::string &hcil)
{
    scsi_address address;
    if (!parse_address(hcil.c_str(), &address)) return nullptr;
    if (ignore_host(address.host)) {
        trace("%u:0:%u:0 is USB\n", address.host, address.target);
        return nullptr;
    }
    dev_ptr dev(new_dev(sgen_operations));
    dev->unit_host = address.host;
    dev->slot_id = address.target;
    if (!open_disk(dev.get(), hcil)) return nullptr;

    if (!get_ATA_info(dev.get())) read_SCSI_identity(dev.get(), hcil);
    const bool is_logical_disk = begins_with(dev->vendor, "LSI");
    if (is_logical_disk) return nullptr;
    dev->interface = begins_with(dev->vendor, "ATA") ? interface_ata : interface_scsi;
    return dev;
}

/* Asks the drive, which is no duplicate, for the rest. Returns false when it does not tell its capacity. */
static bool complete_drive(Dev *dev, const std::string &hcil)
{
    if (!rdcap(dev)) return false;
    dev->adapter = find_block(hcil);
    trace("Vendor=\"%s\", Model=\"%s\", Rev=\"%s\", Serial=\"%s\"\n", shown_on(stderr, dev->vendor).c_str(),
          shown_on(stderr, dev->model).c_str(), shown_on(stderr, dev->rev).c_str(),
          shown_on(stderr, dev->serial).c_str());
    trace("Adding new %s [%d,%d] V=%s M=%s R=%s I=%s\n", shown(dev->adapter),
          static_cast<int>(dev->unit_host), static_cast<int>(dev->slot_id),
          shown_on(stderr, dev->vendor).c_str(), shown_on(stderr, dev->model).c_str(),
          shown_on(stderr, dev->rev).c_str(), dev->image ? dev->image : "(null)");
    return true;
}

/* Does something for one candidate, and keeps what is said meanwhile for its turn, unless only one is at
 * work: then it is told at once. */
template <typename Function>
static void attend_to(candidate *c, Function fn)
{
    std::optional<keep_diagnostics> keep;
    if (!verbose) keep.emplace(&c->said);
    fn(c);
}

/* The first candidate before `c` that is the same drive and still in the running; null when there is none. */
static candidate *find_earlier(std::vector<candidate> *all, const candidate *c)
{
    for (candidate &earlier : *all) {
        if (&earlier == c) break;
        if (earlier.dev && is_same_drive(earlier.dev.get(), c->dev.get())) return &earlier;
    }
    return nullptr;
}

/* Decides about one candidate: drops a duplicate of a drive that is ready. Returns true when it is to be
 * asked for the rest now; one whose like has yet to answer waits, for if that does not tell its capacity this
 * one is kept. */
static bool is_next(std::vector<candidate> *all, candidate *c)
{
    if (!c->dev || c->is_ready) return false;
    const candidate *earlier = find_earlier(all, c);
    if (!earlier) return true;
    if (!earlier->is_ready) return false;
    attend_to(c, [earlier](candidate *duplicate) {
        is_in_list(earlier->dev.get(), duplicate->dev.get());
        duplicate->dev.reset();
    });
    return false;
}

static void drop_listed(GList *devlist, candidate *c)
{
    if (c->dev && !is_new_device(devlist, c->dev.get())) c->dev.reset();
}

static void complete(candidate *c)
{
    c->is_ready = complete_drive(c->dev.get(), c->hcil);
    if (!c->is_ready) c->dev.reset();
}

/* Asks every drive what it is asked, in as many rounds as there are roads to one drive. Afterwards those that
 * have a record belong into the list. */
static void settle(std::vector<candidate> *all, GList *devlist)
{
    do_many(all->size(), drives_at_a_time, [all, devlist](size_t i) {
        attend_to(&(*all)[i], [devlist](candidate *c) {
            c->dev = identify_drive(c->hcil);
            drop_listed(devlist, c);
        });
    });
    for (;;) {
        std::vector<candidate *> round;
        for (candidate &c : *all)
            if (is_next(all, &c)) round.push_back(&c);
        if (round.empty()) return;
        do_many(round.size(), drives_at_a_time, [&round](size_t i) { attend_to(round[i], complete); });
    }
}

/* Up to `count` of the directory's next entries. */
static std::vector<candidate> read_entries(DIR *dir, size_t count)
{
    std::vector<candidate> entries;
    while (entries.size() < count) {
        const dirent *entry = readdir(dir);
        if (!entry) break;
        trace("Entry \"%s\"\n", entry->d_name);
        entries.push_back({.hcil = entry->d_name, .dev = nullptr, .is_ready = false, .said = ""});
    }
    return entries;
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

    /* Who reads along wants to see what goes on at which drive: one after the other. */
    const size_t at_a_time = verbose ? 1 : entries_at_a_time;
    for (;;) {
        std::vector<candidate> entries = read_entries(dir.get(), at_a_time);
        if (entries.empty()) return devlist;
        settle(&entries, devlist);
        for (candidate &c : entries) {
            say("%s", c.said.c_str());
            if (c.dev) devlist = g_list_insert_sorted(devlist, c.dev.release(), compare_devices);
        }
    }
}

} // namespace sgen
