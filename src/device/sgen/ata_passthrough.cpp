#include "device/sgen/ata_passthrough.h"

#include "base/dump.h"
#include "base/settings.h"
#include "base/trace.h"

#include <cstdio>
#include <cstring>

namespace sgen
{

namespace
{
/* SAT protocols. */
enum : uint8_t { non_data = 3, pio_in = 4, pio_out = 5, dma = 6 };

struct SATA_command {
    uint8_t command_code;
    uint8_t feature;
    uint8_t protocol;
    uint8_t extend;     /* for the trace only: the registers' values decide */
    uint8_t direction;  /* 1 = from the device */
    uint8_t byte_block; /* 1 = length in blocks */
    uint8_t t_length;   /* 2 = length in the sector count, 0 = no data */
    uint8_t device;     /* device register; 40h = LBA mode */
    uint8_t flags;
};
} // namespace

constexpr uint8_t feature_is_key = 1; /* the row is for this feature only */
constexpr uint8_t downloads = 2;      /* not interpreted */

static const SATA_command SATA_cmd_tab[] = {
  /* command_code, feature, protocol, extend, direction, byte_block, t_length, device, flags */
    {ATA_READ_SECTORS,              0,                                   pio_in,   0, 1, 1, 2, 0x40, 0             },
    {ATA_READ_SECTORS_EXT,          0,                                   pio_in,   1, 1, 1, 2, 0x40, 0             },
    {ATA_READ_DMA_EXT,              0,                                   dma,      1, 1, 1, 2, 0x40, 0             },
    {ATA_WRITE_DMA_EXT,             0,                                   dma,      1, 0, 1, 2, 0x40, 0             },
    {ATA_READ_VERIFY,               0,                                   non_data, 0, 1, 1, 0, 0x40, 0             },
    {ATA_READ_VERIFY_EXT,           0,                                   non_data, 1, 1, 1, 0, 0x40, 0             },
    {ATA_READ_LOG_DMA_EXT,          0,                                   dma,      1, 1, 1, 2, 0,    0             },
    {ATA_WRITE_LOG_DMA_EXT,         0,                                   dma,      1, 0, 1, 2, 0,    0             },
    {ATA_READ_FPDMA_QUEUED,         0,                                   dma,      1, 1, 1, 2, 0x40, 0             },
    {ATA_WRITE_FPDMA_QUEUED,        0,                                   dma,      1, 0, 1, 2, 0x40, 0             },
    {ATA_DOWNLOAD_MICROCODE,        0,                                   pio_out,  0, 0, 1, 2, 0,    downloads     },
    {ATA_SMART,                     ATA_SMART_READ_DATA,                 pio_in,   0, 1, 1, 2, 0,    feature_is_key},
    {ATA_SMART,                     ATA_SMART_READ_ATTRIBUTE_THRESHOLDS, pio_in,   0, 1, 1, 2, 0,    feature_is_key},
    {ATA_SMART,                     ATA_SMART_READ_LOG,                  pio_in,   0, 1, 1, 2, 0,    feature_is_key},
    {ATA_SMART,                     ATA_SMART_WRITE_LOG,                 pio_out,  0, 0, 1, 2, 0,    feature_is_key},
    {ATA_DEVICE_CONFIGURATION,      ATA_DEVICE_CONFIGURATION_RESTORE,    non_data, 0, 0, 0, 0, 0,    feature_is_key},
    {ATA_DEVICE_CONFIGURATION,      ATA_DEVICE_CONFIGURATION_IDENTIFY,   pio_in,   0, 1, 0, 2, 0,    feature_is_key},
    {ATA_DEVICE_CONFIGURATION,      ATA_DEVICE_CONFIGURATION_SET,        pio_out,  0, 0, 0, 2, 0,    feature_is_key},
    {ATA_READ_DMA,                  0,                                   dma,      0, 1, 1, 2, 0x40, 0             },
    {ATA_WRITE_DMA,                 0,                                   dma,      0, 0, 1, 2, 0x40, 0             },
    {ATA_STANDBY_IMMEDIATE,         0,                                   non_data, 0, 0, 0, 0, 0,    0             },
    {ATA_CHECK_POWER_MODE,          0,                                   non_data, 0, 0, 0, 0, 0,    0             },
    {ATA_IDENTIFY_DEVICE,           0,                                   pio_in,   0, 1, 1, 2, 0,    0             },
    {ATA_SET_FEATURES,              0,                                   non_data, 0, 0, 0, 0, 0,    0             },
    {ATA_SECURITY_SET_PASSWORD,     0,                                   pio_out,  0, 0, 1, 2, 0,    0             },
    {ATA_SECURITY_UNLOCK,           0,                                   pio_out,  0, 0, 1, 2, 0,    0             },
    {ATA_SECURITY_ERASE_PREPARE,    0,                                   non_data, 0, 0, 1, 0, 0,    0             },
    {ATA_SECURITY_ERASE_UNIT,       0,                                   pio_out,  0, 0, 1, 2, 0,    0             },
    {ATA_SECURITY_DISABLE_PASSWORD, 0,                                   pio_out,  0, 0, 1, 2, 0,    0             },
    {ATA_IDLE_IMMEDIATE,            0,                                   non_data, 0, 0, 1, 0, 0,    0             },
};

constexpr uint32_t max_byte = 0xFF;
constexpr lba_t max_lba_without_extend = 0xFFFFFF;

void set_pt16_feature(ata_passthrough_16 *pt16, uint16_t feature)
{
    if (feature > max_byte) pt16->extend = 1;
    pt16->feature[0] = static_cast<uint8_t>(feature >> 8);
    pt16->feature[1] = static_cast<uint8_t>(feature);
}

void set_pt16_count(ata_passthrough_16 *pt16, uint32_t count)
{
    if (count > max_byte) pt16->extend = 1;
    pt16->sector_count[0] = static_cast<uint8_t>(count >> 8);
    pt16->sector_count[1] = static_cast<uint8_t>(count);
}

void set_pt16_addr(ata_passthrough_16 *pt16, lba_t lba)
{
    if (lba > max_lba_without_extend) pt16->extend = 1;
    pt16->lba_low[0] = static_cast<uint8_t>(lba >> 24);
    pt16->lba_low[1] = static_cast<uint8_t>(lba);
    pt16->lba_mid[0] = static_cast<uint8_t>(lba >> 32);
    pt16->lba_mid[1] = static_cast<uint8_t>(lba >> 8);
    pt16->lba_high[0] = static_cast<uint8_t>(lba >> 40);
    pt16->lba_high[1] = static_cast<uint8_t>(lba >> 16);
}

static const SATA_command *find_command(uint8_t command, uint32_t feature)
{
    for (const SATA_command &row : SATA_cmd_tab)
        if (row.command_code == command && (!(row.flags & feature_is_key) || row.feature == feature))
            return &row;
    return nullptr;
}

static void show_row(const SATA_command &row)
{
    say("command_code=%02Xh\n", row.command_code);
    say("feature=%#x\n", row.feature);
    say("protocol=%u\n", row.protocol);
    say("extend=%u\n", row.extend);
    say("direction=%u\n", row.direction);
    say("byte_block=%u\n", row.byte_block);
    say("t_length=%u\n", row.t_length);
    say("device=%02Xh\n", row.device);
    say("flags=%#x\n", row.flags);
}

size_t build_SAT_cdb(uint8_t *cdb, uint8_t command, uint32_t feature, uint32_t sector_count, lba_t lba)
{
    trace("build_SAT_cdb(..., command=%02Xh, feature=%02Xh, sector_count=%u, lba=%llu)\n", command, feature,
          sector_count, static_cast<unsigned long long>(lba));
    const SATA_command *row = find_command(command, feature);
    if (!row) return 0;
    if (verbose) show_row(*row);

    ata_passthrough_16 pt16 = {};
    pt16.operation_code = ATA_PASS_THROUGH_16;
    pt16.protocol = row->protocol & 0xF;
    pt16.t_dir = row->direction & 1;
    pt16.byte_block = row->byte_block & 1;
    pt16.t_length = row->t_length & 3;
    pt16.device = row->device;
    set_pt16_feature(&pt16, static_cast<uint16_t>(feature));
    set_pt16_count(&pt16, sector_count);
    set_pt16_addr(&pt16, lba);
    pt16.command = command;
    memcpy(cdb, &pt16, sizeof pt16);

    if (verbose) dump("CDB", cdb, sizeof pt16);
    return sizeof pt16;
}

} // namespace sgen
