#include "rehearsal/drive/scsi_commands.h"

#include "rehearsal/drive/mode_pages.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

namespace rehearsal
{

constexpr size_t standard_inquiry_len = 96;
constexpr uint8_t product_data_pages[] = {0x00, 0x80, 0x83};

/* Fixed-width text: blanks behind it, or cut. */
static void put_text(std::span<uint8_t> bytes, size_t offset, size_t width, std::string_view text)
{
    const auto field = bytes.subspan(offset, width);
    std::fill(field.begin(), field.end(), ' ');
    std::copy_n(text.begin(), std::min(width, text.size()), field.begin());
}

static reply cut_to(reply r, uint64_t allocation_len)
{
    if (r.data.size() > allocation_len) r.data.resize(allocation_len);
    return r;
}

/* A page of vital product data with its 4-byte header. */
static reply product_data_page(const drive_profile &profile, uint8_t code, std::span<const uint8_t> content)
{
    constexpr size_t header_len = 4;
    reply r;
    r.data.resize(header_len + content.size());
    r.data[0] = static_cast<uint8_t>(profile.device_type & 0x1F);
    r.data[1] = code;
    put_be(r.data, 2, 2, content.size());
    std::copy(content.begin(), content.end(), r.data.begin() + header_len);
    return r;
}

/* A translator for an ATA drive gives the 20 characters of IDENTIFY DEVICE (SAT). Some SCSI drives tell their
 * revision behind the serial number, where the page has no field for it. */
static reply serial_number_page(const drive_profile &profile, const drive_state &state)
{
    constexpr size_t ata_width = 20;
    constexpr size_t revision_at = 28; /* of the content: byte 32 of the page */
    std::string content = profile.serial;
    if (profile.is_ata() && content.size() < ata_width) content.insert(0, ata_width - content.size(), ' ');
    if (profile.serial_page_revision) {
        content.resize(revision_at, ' ');
        content += state.revision;
    }
    return product_data_page(profile, 0x80,
                             {reinterpret_cast<const uint8_t *>(content.data()), content.size()});
}

/* One locally assigned world wide name, in binary, of the logical unit. */
static reply identification_page(const drive_profile &profile)
{
    uint8_t content[12] = {0x01, 0x03, 0, 8};
    put_be(content, 4, 8, 0x3000000000000001 + profile.index);
    return product_data_page(profile, 0x83, content);
}

static reply standard_inquiry(const drive_profile &profile, const drive_state &state)
{
    reply r;
    r.data.resize(standard_inquiry_len);
    r.data[0] = static_cast<uint8_t>(profile.device_type & 0x1F);
    r.data[2] = 0x06; /* SPC-4 */
    r.data[3] = 0x02; /* response data format of the standard */
    r.data[4] = standard_inquiry_len - 5;
    r.data[7] = 0x02; /* command queueing */
    put_text(r.data, 8, 8, profile.vendor);
    put_text(r.data, 16, 16, profile.model);
    put_text(r.data, 32, 4, inquiry_revision(profile, state));
    return r;
}

static reply inquiry_data(const drive_profile &profile, const drive_state &state, const request &req)
{
    const bool wants_page = (req.bytes[1] & 0x01) != 0;
    const uint8_t page = req.bytes[2];
    if (!wants_page) return page == 0 ? standard_inquiry(profile, state) : invalid_cdb_field();
    switch (page) {
    case 0x00:
        return product_data_page(profile, 0x00, product_data_pages);
    case 0x80:
        return serial_number_page(profile, state);
    case 0x83:
        return identification_page(profile);
    default:
        return invalid_cdb_field();
    }
}

static reply inquiry(const drive_profile &profile, drive_state &state, const request &req)
{
    return cut_to(inquiry_data(profile, state, req), get_be(req.bytes, 3, 2));
}

static reply read_capacity_10(const drive_profile &profile, drive_state &, const request &)
{
    reply r;
    r.data.resize(8);
    put_be(r.data, 0, 4, std::min<uint64_t>(profile.blocks - 1, 0xFFFFFFFF));
    put_be(r.data, 4, 4, profile.block_length);
    return r;
}

static reply read_capacity_16(const drive_profile &profile, drive_state &, const request &req)
{
    constexpr uint8_t read_capacity_action = 0x10;
    if ((req.bytes[1] & 0x1F) != read_capacity_action) return invalid_cdb_field();
    reply r;
    r.data.resize(32);
    put_be(r.data, 0, 8, profile.blocks - 1);
    put_be(r.data, 8, 4, profile.block_length);
    return cut_to(r, get_be(req.bytes, 10, 4));
}

namespace
{
/* Where a command has its block address and its count of blocks. */
struct extent {
    uint64_t lba;
    uint64_t count;
};
} // namespace

static extent extent_of(const request &req)
{
    switch (req.bytes.size()) {
    case 6: {
        const uint64_t count = req.bytes[4];
        return {get_be(req.bytes, 1, 3) & 0x1FFFFF, count == 0 ? 256 : count};
    }
    case 10:
        return {get_be(req.bytes, 2, 4), get_be(req.bytes, 7, 2)};
    default:
        return {get_be(req.bytes, 2, 8), get_be(req.bytes, 10, 4)};
    }
}

/* Zeros, of blocks that exist. */
static reply read_blocks(const drive_profile &profile, drive_state &, const request &req)
{
    const extent e = extent_of(req);
    if (e.lba >= profile.blocks || e.count > profile.blocks - e.lba) return lba_out_of_range();
    reply r;
    r.zeros = e.count * profile.block_length;
    return r;
}

namespace
{
struct scsi_command {
    uint8_t code;
    size_t cdb_len;
    reply (*run)(const drive_profile &profile, drive_state &state, const request &req);
};
} // namespace

constexpr uint8_t test_unit_ready = 0x00;
constexpr uint8_t inquiry_code = 0x12;

// clang-format off
constexpr scsi_command commands[] = {
    /* code             cdb_len */
    {test_unit_ready,   6,  [](const drive_profile &, drive_state &, const request &) { return reply{}; }},
    {0x08,              6,  read_blocks},      /* READ(6) */
    {inquiry_code,      6,  inquiry},
    {0x15,              6,  mode_select_6},
    {0x1A,              6,  mode_sense_6},
    {0x25,              10, read_capacity_10},
    {0x28,              10, read_blocks},      /* READ(10) */
    {0x88,              16, read_blocks},      /* READ(16) */
    {0x9E,              16, read_capacity_16}, /* SERVICE ACTION IN(16) */
};
// clang-format on

std::optional<reply> unit_attention(drive_state &state, uint8_t code)
{
    constexpr uint8_t request_sense = 0x03;
    constexpr uint8_t report_luns = 0xA0;
    constexpr uint8_t key_unit_attention = 0x06;
    if (state.attention == 0 || code == inquiry_code || code == request_sense || code == report_luns)
        return {};
    const uint16_t told = std::exchange(state.attention, uint16_t{0});
    return check_condition(key_unit_attention, static_cast<uint8_t>(told >> 8), static_cast<uint8_t>(told));
}

std::string inquiry_revision(const drive_profile &profile, const drive_state &state)
{
    const bool shows_end = profile.is_ata() && state.revision.size() > 4;
    return state.revision.substr(shows_end ? 4 : 0, 4);
}

reply run_scsi_command(const drive_profile &profile, drive_state &state, const request &req)
{
    for (const scsi_command &command : commands)
        if (command.code == req.bytes[0] && command.cdb_len == req.bytes.size())
            return command.run(profile, state, req);
    return invalid_opcode();
}

} // namespace rehearsal
