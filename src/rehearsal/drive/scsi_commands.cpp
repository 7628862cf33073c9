#include "rehearsal/drive/scsi_commands.h"

#include "rehearsal/drive/ata_pages.h"
#include "rehearsal/drive/firmware.h"
#include "rehearsal/drive/mode_pages.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

namespace rehearsal
{

constexpr uint8_t key_unit_attention = 0x06;
constexpr size_t standard_inquiry_len = 96;
constexpr uint8_t product_data_pages[] = {0x00, 0x80, 0x83};
constexpr uint8_t translated_pages[] = {0x00, 0x80, 0x83, 0x89};

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

/* Who translates, and the drive's own IDENTIFY DEVICE data (SAT). */
static reply ata_information_page(const drive_profile &profile, const drive_state &state)
{
    std::vector<uint8_t> content(568);
    put_text(content, 4, 8, "SIM");
    put_text(content, 12, 16, "TRANSLATOR");
    put_text(content, 28, 4, "1");
    content[32] = 0x34; /* the FIS that a drive signs in with */
    content[52] = 0xEC; /* what follows came from IDENTIFY DEVICE */
    const reply identity = identify_page(profile, state);
    std::copy(identity.data.begin(), identity.data.end(), content.begin() + 56);
    return product_data_page(profile, 0x89, content);
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
        return product_data_page(profile, 0x00,
                                 profile.is_ata() ? std::span<const uint8_t>(translated_pages)
                                                  : std::span<const uint8_t>(product_data_pages));
    case 0x80:
        return serial_number_page(profile, state);
    case 0x83:
        return identification_page(profile);
    case 0x89:
        return profile.is_ata() ? ata_information_page(profile, state) : invalid_cdb_field();
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

static reply request_sense(const drive_profile &profile, drive_state &state, const request &req)
{
    constexpr uint8_t failure_prediction_threshold_exceeded = 0x5D;
    const uint16_t told = std::exchange(state.attention, uint16_t{0});
    const uint8_t code = told != 0                  ? static_cast<uint8_t>(told >> 8)
                         : profile.predicts_failure ? failure_prediction_threshold_exceeded
                                                    : uint8_t{0};
    reply r;
    r.data = check_condition(told != 0 ? key_unit_attention : 0, code, static_cast<uint8_t>(told)).sense;
    return cut_to(r, req.bytes[4]);
}

static reply reply_to(verdict what)
{
    switch (what) {
    case segment_taken:
        return {};
    case wrong_offset_or_length:
        return invalid_cdb_field();
    case wrong_content:
        return check_condition(0x05, 0x26, 0x00); /* invalid field in parameter list */
    default:
        return check_condition(0x05, 0x2C, 0x00); /* command sequence error */
    }
}

static reply write_buffer(const drive_profile &profile, drive_state &state, const request &req)
{
    constexpr std::pair<uint8_t, download_way> ways[] = {
        {0x05, in_one_command      },
        {0x07, in_segments         },
        {0x0E, in_deferred_segments}
    };
    constexpr uint8_t activate_mode = 0x0F;
    const uint8_t mode = req.bytes[1] & 0x1F;
    const uint64_t offset = get_be(req.bytes, 3, 3);
    const uint64_t len = get_be(req.bytes, 6, 3);
    if (profile.is_ata()) return invalid_opcode(); /* as translators have it */
    if (!offers_mode(profile, mode) || req.bytes[2] != 0 || len != req.data.size())
        return invalid_cdb_field();
    if (mode == activate_mode) return reply_to(activate_deferred(profile, state));
    for (const auto &[number, way] : ways)
        if (number == mode) return reply_to(take_segment(profile, state, way, offset, req.data));
    return invalid_cdb_field();
}

static reply read_buffer(const drive_profile &profile, drive_state &, const request &req)
{
    constexpr uint8_t descriptor_mode = 0x03;
    if ((req.bytes[1] & 0x1F) != descriptor_mode || profile.is_ata()) return invalid_cdb_field();
    reply r;
    r.data.resize(4);
    r.data[0] = static_cast<uint8_t>(profile.fw_boundary);
    put_be(r.data, 1, 3, profile.fw_capacity);
    return cut_to(r, get_be(req.bytes, 6, 3));
}

static reply report_operation_codes(const drive_profile &profile, drive_state &state, const request &req);

namespace
{
struct scsi_command {
    uint8_t code;
    size_t cdb_len;
    reply (*run)(const drive_profile &profile, drive_state &state, const request &req);
};
} // namespace

constexpr uint8_t test_unit_ready_code = 0x00;
constexpr uint8_t request_sense_code = 0x03;
constexpr uint8_t inquiry_code = 0x12;
constexpr uint8_t write_buffer_code = 0x3B;
constexpr uint8_t report_luns_code = 0xA0;

// clang-format off
constexpr scsi_command commands[] = {
    /* code                 cdb_len */
    {test_unit_ready_code,  6,  [](const drive_profile &, drive_state &, const request &) { return reply{}; }},
    {request_sense_code,    6,  request_sense},
    {0x08,                  6,  read_blocks},            /* READ(6) */
    {inquiry_code,          6,  inquiry},
    {0x15,                  6,  mode_select_6},
    {0x1A,                  6,  mode_sense_6},
    {0x25,                  10, read_capacity_10},
    {0x28,                  10, read_blocks},            /* READ(10) */
    {write_buffer_code,     10, write_buffer},
    {0x3C,                  10, read_buffer},
    {0x88,                  16, read_blocks},            /* READ(16) */
    {0x9E,                  16, read_capacity_16},       /* SERVICE ACTION IN(16) */
    {0xA3,                  12, report_operation_codes}, /* MAINTENANCE IN */
};
// clang-format on

static const scsi_command *find_command(uint8_t code)
{
    const auto *const found = std::find_if(std::begin(commands), std::end(commands),
                                           [&](const scsi_command &c) { return c.code == code; });
    return found == std::end(commands) ? nullptr : found;
}

/* REPORT SUPPORTED OPERATION CODES for one command (SPC-4). Of WRITE BUFFER the mode counts as service
 * action. */
static reply report_operation_codes(const drive_profile &profile, drive_state &, const request &req)
{
    constexpr uint8_t report_action = 0x0C;
    enum { one_command = 1, one_service_action = 2 };
    enum { not_supported = 1, supported = 3 };
    const int options = req.bytes[2] & 0x07;
    const uint8_t code = req.bytes[3];
    const bool has_actions = code == write_buffer_code;
    if ((req.bytes[1] & 0x1F) != report_action || profile.is_ata()) return invalid_cdb_field();
    if (options != (has_actions ? one_service_action : one_command)) return invalid_cdb_field();
    const bool is_known = has_actions ? offers_mode(profile, static_cast<uint8_t>(get_be(req.bytes, 4, 2)))
                                      : find_command(code) != nullptr;
    reply r;
    r.data.resize(4);
    r.data[1] = is_known ? supported : not_supported;
    return cut_to(r, get_be(req.bytes, 6, 4));
}

/* What a drive answers whatever its state is. */
static bool is_always_answered(uint8_t code)
{
    return code == inquiry_code || code == request_sense_code || code == report_luns_code;
}

std::optional<reply> unit_attention(drive_state &state, uint8_t code)
{
    if (state.attention == 0 || is_always_answered(code)) return {};
    const uint16_t told = std::exchange(state.attention, uint16_t{0});
    return check_condition(key_unit_attention, static_cast<uint8_t>(told >> 8), static_cast<uint8_t>(told));
}

std::optional<reply> not_ready(const drive_state &state, uint8_t code)
{
    if (!is_busy(state) || is_always_answered(code)) return {};
    return check_condition(0x02, 0x04, 0x01); /* becoming ready */
}

std::string inquiry_revision(const drive_profile &profile, const drive_state &state)
{
    const bool shows_end = profile.is_ata() && state.revision.size() > 4;
    return state.revision.substr(shows_end ? 4 : 0, 4);
}

reply run_scsi_command(const drive_profile &profile, drive_state &state, const request &req)
{
    const scsi_command *const command = find_command(req.bytes[0]);
    if (!command || command->cdb_len != req.bytes.size()) return invalid_opcode();
    return command->run(profile, state, req);
}

} // namespace rehearsal
