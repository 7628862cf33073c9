#include "rehearsal/drive/ata_commands.h"

#include "rehearsal/drive/ata_pages.h"
#include "rehearsal/drive/firmware.h"

#include <utility>

namespace rehearsal
{

constexpr uint64_t sector_len = 512;
constexpr uint8_t device_ready = 0x50;
constexpr uint64_t smart_signature = 0xC24F00; /* in the LBA registers of every SMART command */

/* Table 2 of the SCSI/ATA translation: how the block says how much data comes. */
static uint64_t transfer_len_of(std::span<const uint8_t> cdb, uint64_t feature, uint64_t count)
{
    const uint64_t unit = (cdb[2] & 0x04) != 0 ? sector_len : 1;
    switch (cdb[2] & 0x03) {
    case 0:
        return 0;
    case 1:
        return feature * unit;
    case 2:
        return count * unit;
    default:
        return UINT64_MAX; /* the transport's own length counts */
    }
}

/* READ VERIFY: no data, but the blocks must exist. A 28-bit command knows nothing of the registers' second
 * half. */
static reply verify_sectors(const drive_profile &profile, const ata_registers &regs, bool is_48_bit)
{
    const uint64_t lba = is_48_bit ? regs.lba : (regs.lba & 0xFFFFFF) | (regs.device & 0x0FU) << 24;
    uint64_t count = is_48_bit ? regs.count : regs.count & 0xFF;
    if (count == 0) count = is_48_bit ? 65536 : 256;
    return lba >= profile.blocks || count > profile.blocks - lba ? lba_out_of_range() : reply{};
}

static reply verify_28(const drive_profile &profile, drive_state &, const ata_registers &regs)
{
    return verify_sectors(profile, regs, false);
}

static reply verify_48(const drive_profile &profile, drive_state &, const ata_registers &regs)
{
    return verify_sectors(profile, regs, true);
}

static reply identify(const drive_profile &profile, drive_state &state, const ata_registers &)
{
    return identify_page(profile, state);
}

static bool is_smart(const ata_registers &regs, uint8_t subcommand)
{
    return (regs.lba & 0xFFFF00) == smart_signature && (regs.feature & 0xFF) == subcommand;
}

static reply smart_read_data(const drive_profile &profile, drive_state &, const ata_registers &regs)
{
    return is_smart(regs, 0xD0) ? smart_data_page(profile) : aborted_command();
}

/* SMART RETURN STATUS: the signature comes back, inverted when a threshold is passed. Asked for with the
 * registers returned; key 1 says that nothing is wrong with the command. */
static reply smart_return_status(const drive_profile &profile, drive_state &, const ata_registers &regs)
{
    if (!is_smart(regs, 0xDA)) return aborted_command();
    return profile.predicts_failure ? ata_registers_returned(0x01, 0x00, 0x1D, 0, device_ready, 0xF4, 0x2C)
                                    : ata_registers_returned(0x01, 0x00, 0x1D, 0, device_ready, 0x4F, 0xC2);
}

static reply read_log(const drive_profile &profile, drive_state &, const ata_registers &regs)
{
    constexpr uint8_t identify_log = 0x30;
    constexpr uint64_t capabilities = 3;
    const uint64_t page = (regs.lba >> 8 & 0xFF) | (regs.lba >> 32 & 0xFF) << 8;
    const bool is_there =
        (regs.lba & 0xFF) == identify_log && page == capabilities && offers_mode(profile, 0x0E);
    return is_there ? capabilities_page() : aborted_command();
}

static reply download_microcode(const drive_profile &profile, drive_state &state, const ata_registers &regs)
{
    constexpr std::pair<uint8_t, download_way> ways[] = {
        {0x03, in_segments         },
        {0x07, in_one_command      },
        {0x0E, in_deferred_segments}
    };
    const auto mode = static_cast<uint8_t>(regs.feature);
    const uint64_t blocks = (regs.lba & 0xFF) << 8 | (regs.count & 0xFF);
    const uint64_t first = regs.lba >> 8 & 0xFFFF;
    if (!offers_mode(profile, mode) || blocks * sector_len != regs.data.size()) return aborted_command();
    if (regs.protocol == sat_dma && !profile.fw_dma) return aborted_command();
    /* Other translators than libata go by COUNT, as T_LENGTH says. */
    if (profile.host_driver != "ahci" && regs.transfer_len != regs.data.size()) return aborted_command();
    const bool is_in_parts = mode != 0x07;
    if (is_in_parts && profile.fw_max_blocks != 0 &&
        (blocks < profile.fw_min_blocks || blocks > profile.fw_max_blocks))
        return aborted_command();
    for (const auto &[number, way] : ways)
        if (number == mode &&
            take_segment(profile, state, way, first * sector_len, regs.data) == segment_taken)
            return {};
    return aborted_command();
}

static reply activate_microcode(const drive_profile &profile, drive_state &state, const ata_registers &regs)
{
    const bool is_known = (regs.feature & 0xFF) == 0x0F && offers_mode(profile, 0x0F);
    return is_known && activate_deferred(profile, state) == segment_taken ? reply{} : aborted_command();
}

namespace
{
struct ata_command {
    uint8_t code;
    uint8_t protocol;
    reply (*run)(const drive_profile &profile, drive_state &state, const ata_registers &regs);
};
} // namespace

constexpr uint8_t microcode_code = 0x92;
constexpr uint8_t microcode_dma_code = 0x93;

constexpr ata_command commands[] = {
  /* code               protocol */
    {0x2F,               sat_pio_data_in,  read_log           }, /* READ LOG EXT */
    {0x40,               sat_non_data,     verify_28          }, /* READ VERIFY SECTOR(S) */
    {0x42,               sat_non_data,     verify_48          }, /* READ VERIFY SECTOR(S) EXT */
    {microcode_code,     sat_pio_data_out, download_microcode },
    {microcode_code,     sat_non_data,     activate_microcode },
    {microcode_dma_code, sat_dma,          download_microcode },
    {0xB0,               sat_pio_data_in,  smart_read_data    },
    {0xB0,               sat_non_data,     smart_return_status},
    {0xEC,               sat_pio_data_in,  identify           },
};

std::optional<ata_registers> decode_pass_through(std::span<const uint8_t> cdb)
{
    if (cdb.size() != 16 || cdb[0] != 0x85) return std::nullopt;
    const bool is_extended = (cdb[1] & 0x01) != 0;
    ata_registers regs{};
    regs.feature = static_cast<uint16_t>(get_be(cdb, 3, 2));
    regs.count = static_cast<uint16_t>(get_be(cdb, 5, 2));
    regs.lba = uint64_t{cdb[12]} << 16 | uint64_t{cdb[10]} << 8 | cdb[8];
    if (is_extended)
        regs.lba |= uint64_t{cdb[11]} << 40 | uint64_t{cdb[9]} << 32 | uint64_t{cdb[7]} << 24;
    else {
        regs.feature &= 0xFF;
        regs.count &= 0xFF;
    }
    regs.device = cdb[13];
    regs.command = cdb[14];
    regs.protocol = cdb[1] >> 1 & 0x0F;
    regs.is_from_drive = (cdb[2] & 0x08) != 0;
    regs.transfer_len = transfer_len_of(cdb, regs.feature, regs.count);
    return regs;
}

/* Data comes from the drive in one of the protocols, goes to it in two. Who announces another way of moving
 * data than the command's own gets none: hosts wait in vain. */
static bool moves_as(const ata_command &command, const ata_registers &regs)
{
    if (regs.protocol != command.protocol) return false;
    return command.protocol == sat_non_data || regs.is_from_drive == (command.protocol == sat_pio_data_in);
}

reply run_ata_command(const drive_profile &profile, drive_state &state, const ata_registers &regs)
{
    bool is_known = false;
    for (const ata_command &command : commands) {
        if (command.code != regs.command) continue;
        is_known = true;
        if (!moves_as(command, regs)) continue;
        reply r = command.run(profile, state, regs);
        if (r.data.size() > regs.transfer_len) r.data.resize(regs.transfer_len);
        return r;
    }
    return is_known ? invalid_cdb_field() : aborted_command();
}

} // namespace rehearsal
