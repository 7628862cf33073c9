#include "rehearsal/drive/ata_commands.h"

#include "rehearsal/drive/ata_pages.h"

namespace rehearsal
{

constexpr uint64_t sector_len = 512;
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

static reply run_smart(const drive_profile &profile, const ata_registers &regs)
{
    if ((regs.lba & 0xFFFF00) != smart_signature) return aborted_command();
    constexpr uint8_t read_data = 0xD0;
    return (regs.feature & 0xFF) == read_data ? smart_data_page(profile) : aborted_command();
}

namespace
{
struct ata_command {
    uint8_t code;
    uint8_t protocol;
    reply (*run)(const drive_profile &profile, const drive_state &state, const ata_registers &regs);
};
} // namespace

// clang-format off
constexpr ata_command commands[] = {
    /* code  protocol */
    {0x40,   sat_non_data,    [](const drive_profile &p, const drive_state &, const ata_registers &r) { return verify_sectors(p, r, false); }},
    {0x42,   sat_non_data,    [](const drive_profile &p, const drive_state &, const ata_registers &r) { return verify_sectors(p, r, true); }},
    {0xB0,   sat_pio_data_in, [](const drive_profile &p, const drive_state &, const ata_registers &r) { return run_smart(p, r); }},
    {0xEC,   sat_pio_data_in, [](const drive_profile &p, const drive_state &s, const ata_registers &) { return identify_page(p, s); }},
};
// clang-format on

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

reply aborted_command()
{
    return check_condition(0x0B, 0x00, 0x00);
}

reply run_ata_command(const drive_profile &profile, const drive_state &state, const ata_registers &regs)
{
    for (const ata_command &command : commands) {
        if (command.code != regs.command) continue;
        /* Who announces another way of moving data than the command's own gets none: hosts wait in vain. */
        const bool moves_in = command.protocol == sat_pio_data_in;
        if (regs.protocol != command.protocol || (moves_in && !regs.is_from_drive))
            return invalid_cdb_field();
        reply r = command.run(profile, state, regs);
        if (r.data.size() > regs.transfer_len) r.data.resize(regs.transfer_len);
        return r;
    }
    return aborted_command();
}

} // namespace rehearsal
