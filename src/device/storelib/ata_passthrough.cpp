#include "device/storelib/ata_passthrough.h"

#include "base/settings.h"
#include "base/trace.h"
#include "device/storelib/library.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

namespace storelib
{

namespace
{
struct SATA_command {
    uint8_t command_code;
    uint8_t features;
    uint8_t device;
    uint8_t flags;
    const char *name;
};
using command_fis = _REGISTER_HOST_TO_DEVICE_FIS_LBA48;
} // namespace

constexpr uint8_t features_are_key = 1;
constexpr uint8_t answers_in_fis = 2; /* not consulted */

static const SATA_command SATA_cmd_tab[] = {
  /* code  features device flags  name */
    {ATA_READ_VERIFY,       0,                   0x40, 0,                "READ VERIFY SECTOR(S)"    },
    {ATA_READ_VERIFY_EXT,   0,                   0x40, 0,                "READ VERIFY SECTOR(S) EXT"},
    {ATA_IDENTIFY_DEVICE,   0,                   0,    0,                "IDENTIFY DEVICE"          },
    {ATA_SMART,             ATA_SMART_READ_DATA, 0,    features_are_key, "SMART READ DATA"          },
    {ATA_STANDBY_IMMEDIATE, 0,                   0,    0,                "STANDBY IMMEDIATE"        },
    {ATA_CHECK_POWER_MODE,  0,                   0,    answers_in_fis,   "CHECK POWER MODE"         },
    {ATA_IDLE_IMMEDIATE,    ATA_IDLE_UNLOAD,     0,    features_are_key, "IDLE IMMEDIATE"           },
};

constexpr uint8_t fis_register_host_to_device = 0x27;
constexpr uint8_t fis_carries_command = 0x80;
constexpr size_t fis_size = sizeof(command_fis);
constexpr uint16_t timeout_s = 10;

int find_command_index(uint8_t command, uint16_t features)
{
    for (size_t i = 0; i < std::size(SATA_cmd_tab); ++i) {
        const SATA_command &row = SATA_cmd_tab[i];
        if (row.command_code != command) continue;
        if (!(row.flags & features_are_key) || row.features == features) return static_cast<int>(i);
    }
    return -1;
}

void show_fis(const char *when, const char *what, const uint8_t *fis)
{
    say("%s %s:", when, what);
    for (size_t i = 0; i < fis_size; ++i)
        say(" %02X", fis[i]);
    say("\n");

    command_fis f;
    memcpy(&f, fis, sizeof f);
    const uint32_t lba = static_cast<uint32_t>(f.LBALowExp_24_31) << 24 |
                         static_cast<uint32_t>(f.LBAHigh_16_23) << 16 |
                         static_cast<uint32_t>(f.LBAMid_8_15) << 8 | f.LBALow_0_7; /* its low 32 bits */
    say("%s %s: Command=%02Xh Feature=%04Xh LBA=%Xh Device=%02Xh\n", when, what, f.Command, f.Features, lba,
        f.Device);
}

/* The FIS of a command, its device register still 0. */
static command_fis build_fis(uint8_t command, uint16_t features, uint16_t count, uint64_t lba)
{
    command_fis f = {};
    f.FISType = fis_register_host_to_device;
    f.CommandBit = fis_carries_command;
    f.Command = command;
    f.Features = static_cast<uint8_t>(features);
    f.FeaturesExp = static_cast<uint8_t>(features >> 8);
    f.LBALow_0_7 = static_cast<uint8_t>(lba);
    f.LBAMid_8_15 = static_cast<uint8_t>(lba >> 8);
    f.LBAHigh_16_23 = static_cast<uint8_t>(lba >> 16);
    f.LBALowExp_24_31 = static_cast<uint8_t>(lba >> 24);
    f.LBAMidExp_32_39 = static_cast<uint8_t>(lba >> 32);
    f.LBAHighExp_40_47 = static_cast<uint8_t>(lba >> 40);
    f.SectorCount0_7 = static_cast<uint8_t>(count);
    f.SectorCountExp8_15 = static_cast<uint8_t>(count >> 8);
    return f;
}

/* The row of a command, or null after a message. */
static const SATA_command *find_command(uint8_t command, uint16_t features)
{
    trace("+ Command=%02Xh, Feature=%04Xh\n", command, features);
    const int index = find_command_index(command, features);
    if (index >= 0) return &SATA_cmd_tab[index];
    say("Unknown command %02Xh (features:%04Xh)\n", command, features);
    return nullptr;
}

static void trace_fis(const char *when, const SATA_command &row, const void *fis)
{
    if (verbose) show_fis(when, row.name, static_cast<const uint8_t *>(fis));
}

/* Sends the FIS with room for `size` bytes of data behind the response FIS. A refusal is reported. */
static reply send(Dev *dev, const SATA_command &row, const command_fis &fis, uint8_t dir, size_t size)
{
    _SL_STP_PASSTHRU_T header = {};
    header.targetId = static_cast<uint8_t>(dev->drv);
    header.dir = dir;
    header.timeout = timeout_s;
    header.stpFlags = dir == SL_DIR_READ ? STP_FLAGS_DATA_IN : STP_FLAGS_NON_DATA;
    header.fis = fis;
    header.fisResponseLen = fis_size;
    header.dataLen = static_cast<uint32_t>(size);

    reply r = pass_through(dev, SL_STP_PASSTHRU, buffer_of(header, fis_size + size));
    if (r.ok)
        trace_fis("  After", row, r.buffer.data() + sizeof header);
    else if (r.status == SL_ERR_INVALID_CTRL)
        say("[QX]Invalid controller\n");
    else
        say("[QX]STPPassthru : ProcessLibCommandCall failed, rval = 0x%X\n", r.status);
    return r;
}

int SATA_cmd_nodata(Dev *dev, uint8_t command, uint16_t features, uint16_t count, uint64_t lba)
{
    const SATA_command *row = find_command(command, features);
    if (!row) return 0;
    command_fis fis = build_fis(command, features, count, lba);
    fis.Device = row->device;
    trace_fis(" Before", *row, &fis);
    return send(dev, *row, fis, SL_DIR_NONE, 0).ok;
}

int SATA_cmd_in(Dev *dev, uint8_t command, uint16_t features, uint16_t count, uint64_t lba, void *buffer,
                size_t size)
{
    const SATA_command *row = find_command(command, features);
    if (!row) return 0;
    command_fis fis = build_fis(command, features, count, lba);
    trace_fis(" Before", *row, &fis); /* established output: without the device register */
    fis.Device = row->device;
    const reply r = send(dev, *row, fis, SL_DIR_READ, size);
    if (!r.ok) return 0;

    /* The data stands behind the response FIS, whose length the library returns; one that would push it out
     * of the buffer is none. */
    uint32_t response_len;
    memcpy(&response_len, r.buffer.data() + offsetof(_SL_STP_PASSTHRU_T, fisResponseLen),
           sizeof response_len);
    if (response_len > fis_size) {
        say("[QX]STPPassthru : response FIS of %u bytes\n", response_len);
        return 0;
    }
    memcpy(buffer, r.buffer.data() + sizeof(_SL_STP_PASSTHRU_T) + response_len, size);
    return 1;
}

} // namespace storelib
