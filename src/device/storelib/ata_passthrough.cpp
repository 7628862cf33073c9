#include "base/settings.h"
#include "device/storelib/passthrough.h"

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
    {0x40, 0x00, 0x40, 0,                "READ VERIFY SECTOR(S)"    },
    {0x42, 0x00, 0x40, 0,                "READ VERIFY SECTOR(S) EXT"},
    {0xEC, 0x00, 0x00, 0,                "IDENTIFY DEVICE"          },
    {0xB0, 0xD0, 0x00, features_are_key, "SMART READ DATA"          },
    {0xE0, 0x00, 0x00, 0,                "STANDBY IMMEDIATE"        },
    {0xE5, 0x00, 0x00, answers_in_fis,   "CHECK POWER MODE"         },
    {0xE1, 0x44, 0x00, features_are_key, "IDLE IMMEDIATE"           },
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
    fprintf(stderr, "%s %s:", when, what);
    for (size_t i = 0; i < fis_size; ++i)
        fprintf(stderr, " %02X", fis[i]);
    fprintf(stderr, "\n");

    command_fis f;
    memcpy(&f, fis, sizeof f);
    const uint32_t lba = static_cast<uint32_t>(f.LBALowExp_24_31) << 24 |
                         static_cast<uint32_t>(f.LBAHigh_16_23) << 16 |
                         static_cast<uint32_t>(f.LBAMid_8_15) << 8 | f.LBALow_0_7; /* its low 32 bits */
    fprintf(stderr, "%s %s: Command=%02Xh Feature=%04Xh LBA=%Xh Device=%02Xh\n", when, what, f.Command,
            f.Features, lba, f.Device);
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
    if (verbose) fprintf(stderr, "+ Command=%02Xh, Feature=%04Xh\n", command, features);
    const int index = find_command_index(command, features);
    if (index >= 0) return &SATA_cmd_tab[index];
    fprintf(stderr, "Unknown command %02Xh (features:%04Xh)\n", command, features);
    return nullptr;
}

static void trace_fis(const char *when, const SATA_command &row, const void *fis)
{
    if (verbose) show_fis(when, row.name, static_cast<const uint8_t *>(fis));
}

/* Sends the FIS with room for `size` bytes of data. Returns the pass-through buffer as the library left it:
 * header, response FIS, data; empty, after a message, when the library refuses. */
static std::vector<uint8_t> send(Dev *dev, const SATA_command &row, const command_fis &fis, uint8_t dir,
                                 size_t size)
{
    _SL_STP_PASSTHRU_T header = {};
    header.targetId = static_cast<uint8_t>(dev->drv);
    header.dir = dir;
    header.timeout = timeout_s;
    header.stpFlags = dir == SL_DIR_READ ? STP_FLAGS_DATA_IN : STP_FLAGS_NON_DATA;
    header.fis = fis;
    header.fisResponseLen = fis_size;
    header.dataLen = static_cast<uint32_t>(size);

    std::vector<uint8_t> buffer(sizeof header + fis_size + size);
    memcpy(buffer.data(), &header, sizeof header);

    _SL_LIB_CMD_PARAM_T request = {};
    request.cmdType = SL_PASSTHRU_CMD_TYPE;
    request.cmd = SL_STP_PASSTHRU;
    request.dataSize = static_cast<uint32_t>(buffer.size());
    request.pData = buffer.data();
    const uint32_t rval = call_library(dev, &request);
    if (rval == SL_ERR_INVALID_CTRL) {
        fprintf(stderr, "[QX]Invalid controller\n");
        return {};
    }
    if (rval != 0) {
        fprintf(stderr, "[QX]STPPassthru : ProcessLibCommandCall failed, rval = 0x%X\n", rval);
        return {};
    }
    trace_fis("  After", row, buffer.data() + sizeof header);
    return buffer;
}

int SATA_cmd_nodata(Dev *dev, uint8_t command, uint16_t features, uint16_t count, uint64_t lba)
{
    const SATA_command *row = find_command(command, features);
    if (!row) return 0;
    command_fis fis = build_fis(command, features, count, lba);
    fis.Device = row->device;
    trace_fis(" Before", *row, &fis);
    return !send(dev, *row, fis, SL_DIR_NONE, 0).empty();
}

int SATA_cmd_in(Dev *dev, uint8_t command, uint16_t features, uint16_t count, uint64_t lba, void *buffer,
                size_t size)
{
    const SATA_command *row = find_command(command, features);
    if (!row) return 0;
    command_fis fis = build_fis(command, features, count, lba);
    trace_fis(" Before", *row, &fis); /* established output: without the device register */
    fis.Device = row->device;
    const std::vector<uint8_t> reply = send(dev, *row, fis, SL_DIR_READ, size);
    if (reply.empty()) return 0;

    /* The data stands behind the response FIS, whose length the library returns; one that would push it out
     * of the buffer is none. */
    uint32_t response_len;
    memcpy(&response_len, reply.data() + offsetof(_SL_STP_PASSTHRU_T, fisResponseLen), sizeof response_len);
    if (response_len > fis_size) {
        fprintf(stderr, "[QX]STPPassthru : response FIS of %u bytes\n", response_len);
        return 0;
    }
    memcpy(buffer, reply.data() + sizeof(_SL_STP_PASSTHRU_T) + response_len, size);
    return 1;
}

} // namespace storelib
