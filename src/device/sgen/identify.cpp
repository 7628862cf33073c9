#include "device/sgen/identify.h"

#include "base/dump.h"
#include "base/trace.h"
#include "device/bytes.h"
#include "device/cdb.h"
#include "device/identity.h"
#include "device/sgen/ata_passthrough.h"
#include "device/sgen/sysfs.h"
#include "device/sgen/transport.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <vector>

namespace sgen
{

constexpr size_t capacity_size = 12;
constexpr size_t dump_title_size = 128;

/* Where these drives keep their running revision in the unit serial number page. */
constexpr text_field serial_page_revision = {32, 4};

/* IDENTIFY DEVICE, words counted from 0. */
constexpr unsigned word_capacity = 60;
constexpr unsigned word_command_sets = 83;
constexpr unsigned word_capacity_48 = 100;
constexpr unsigned word_sector_size = 106;
constexpr unsigned word_sector_words = 117;
constexpr unsigned has_48_bit_mask = 0xC400; /* bits 15-14 valid when 01b, bit 10: 48-bit addresses */
constexpr unsigned has_48_bit = 0x4400;
constexpr unsigned has_long_sectors = 1U << 12;
constexpr uint64_t max_28_bit_blocks = 0x0FFFFFFF;
constexpr unsigned long default_sector_bytes = 512;

bool open_sg_node(Dev *dev, const std::string &name)
{
    const std::string node = "/dev/" + name;
    dev->fd = open(node.c_str(), O_RDWR | O_CLOEXEC);
    if (dev->fd != -1) return true;
    report_error(node.c_str());
    return false;
}

static bool identify_device(Dev *dev, uint8_t *data)
{
    cdb_t cdb;
    const size_t cdblen = build_SAT_cdb(cdb, ATA_IDENTIFY_DEVICE, 0, 1, 0);
    return cdblen != 0 && scsi_cmd_in(dev, cdb, cdblen, data, identify_size);
}

static uint64_t words(const uint8_t *identify, unsigned first, unsigned count)
{
    return get_le(identify + size_t{2} * first, size_t{2} * count);
}

/* The sg node of the drive at target:0 of channel 0, where discovery has not opened it yet. */
static bool open_by_address(Dev *dev)
{
    const std::string hcil = format_text(path_size, "%u:0:%u:0", dev->unit_host, dev->slot_id);
    const text name = link_target_name(device_attribute(hcil, "generic"));
    return name && open_sg_node(dev, *name);
}

int get_ATA_info(Dev *dev)
{
    if (dev->fd == -1 && !open_by_address(dev)) return 0;

    uint8_t data[identify_size] = {};
    if (!identify_device(dev, data)) return 0;
    set_ATA_identity(dev, data);

    dev->blklen = default_sector_bytes;
    if (words(data, word_sector_size, 1) & has_long_sectors)
        dev->blklen = words(data, word_sector_words, 2) * 2;

    /* Four words on purpose, although the 28-bit capacity has two: this is the size that a drive has always
     * had here. One that reports DMA modes in word 63 looks larger than it is, and its 48-bit capacity is
     * then not asked. */
    dev->maxlba = words(data, word_capacity, 4);
    const bool addresses_48_bits = (words(data, word_command_sets, 1) & has_48_bit_mask) == has_48_bit;
    if (addresses_48_bits && dev->maxlba == max_28_bit_blocks) dev->maxlba = words(data, word_capacity_48, 4);
    --dev->maxlba;

    trace("get_ATA_info() V:%s M:%s R:%s S:%s B:%u L:%llu\n", shown_on(stderr, dev->vendor).c_str(),
          shown_on(stderr, dev->model).c_str(), shown_on(stderr, dev->rev).c_str(),
          shown_on(stderr, dev->serial).c_str(), static_cast<unsigned>(dev->blklen),
          static_cast<unsigned long long>(dev->maxlba));
    return 1;
}

void get_SCSI_serial(Dev *dev)
{
    trace("get_SCSI_serial(dev=%p)\n", static_cast<void *>(dev));
    const std::vector<uint8_t> page = read_serial_page(dev, scsi_cmd_in);
    dev->serial =
        page.empty() ? unknown_serial : extract_serial(page.data(), page.size(), dev->vendor, dev->model);
}

int rdcap(Dev *dev)
{
    if (dev->interface == interface_ata) return 1;

    cdb_t cdb;
    uint8_t data[capacity_size] = {};
    size_t cdblen = build_CDB(cdb, SERVICE_ACTION_IN_16, 0, sizeof data, CDB_SERVICE_ACTION,
                              SAI_READ_CAPACITY_16, CDB_OPTION_END);
    if (scsi_cmd_in(dev, cdb, cdblen, data, sizeof data)) {
        dev->maxlba = get_be(data, 8);
        dev->blklen = get_be(data + 8, 4);
        return 1;
    }

    trace("READ CAPACITY(16) failed, trying READ CAPACITY(10)\n");
    /* Nothing of the failed command's is to be seen. */
    std::fill(std::begin(data), std::end(data), uint8_t{0});
    cdblen = build_CDB(cdb, READ_CAPACITY_10, 0, sizeof data, CDB_OPTION_END);
    if (!scsi_cmd_in(dev, cdb, cdblen, data, sizeof data)) return 0;
    dev->maxlba = get_be(data, 4);
    dev->blklen = get_be(data + 4, 4);
    return 1;
}

static void get_ATA_fw_version(Dev *dev)
{
    uint8_t data[identify_size] = {};
    if (identify_device(dev, data))
        dev->target_rev = ATA_strdup(data, identify_revision.first, identify_revision.last);
}

void get_fw_version(Dev *dev)
{
    if (dev->interface != interface_scsi) {
        get_ATA_fw_version(dev);
        return;
    }
    const std::vector<uint8_t> page = read_serial_page(dev, scsi_cmd_in);
    if (page.empty()) {
        dev->serial = unknown_serial;
        return;
    }
    const std::string title = format_text(dump_title_size, "%s [%u,%u]: INQUIRY data", shown(dev->adapter),
                                          dev->unit_host, dev->slot_id);
    dump(title.c_str(), page.data(), page.size());
    dev->target_rev = extract_string(page.data(), page.size(), serial_page_revision);
}

} // namespace sgen
