#include "rehearsal/drive/scsi_commands.h"

#include "rehearsal/drive/mode_pages.h"

#include <algorithm>
#include <string_view>

namespace rehearsal
{

namespace
{

constexpr size_t standard_inquiry_len = 96;
constexpr uint8_t product_data_pages[] = {0x00, 0x80, 0x83};

/* Fixed-width text: blanks behind it, or cut. */
void put_text(std::span<uint8_t> bytes, size_t offset, size_t width, std::string_view text)
{
    const auto field = bytes.subspan(offset, width);
    std::fill(field.begin(), field.end(), ' ');
    std::copy_n(text.begin(), std::min(width, text.size()), field.begin());
}

reply cut_to(reply r, uint64_t allocation_len)
{
    if (r.data.size() > allocation_len) r.data.resize(allocation_len);
    return r;
}

/* A page of vital product data with its 4-byte header. */
reply product_data_page(const drive_profile &profile, uint8_t code, std::span<const uint8_t> content)
{
    constexpr size_t header_len = 4;
    reply r;
    r.data.resize(header_len + content.size());
    r.data[0] = static_cast<uint8_t>(profile.device_type & 0x1f);
    r.data[1] = code;
    put_be(r.data, 2, 2, content.size());
    std::copy(content.begin(), content.end(), r.data.begin() + header_len);
    return r;
}

/* SCSI drives put the running firmware behind the serial number; it is read back from bytes 32 to 35 of the
 * page. */
reply serial_number_page(const drive_profile &profile, const drive_state &state)
{
    constexpr size_t serial_width = 28;
    constexpr size_t revision_width = 4;
    std::vector<uint8_t> content(profile.serial.begin(), profile.serial.end());
    if (!profile.is_ata() && content.size() <= serial_width) {
        content.resize(serial_width + std::max(revision_width, state.revision.size()), ' ');
        std::copy(state.revision.begin(), state.revision.end(), content.begin() + serial_width);
    }
    return product_data_page(profile, 0x80, content);
}

/* One locally assigned world wide name, in binary, of the logical unit. */
reply identification_page(const drive_profile &profile)
{
    uint8_t content[12] = {0x01, 0x03, 0, 8};
    put_be(content, 4, 8, 0x3000000000000001 + profile.index);
    return product_data_page(profile, 0x83, content);
}

reply standard_inquiry(const drive_profile &profile, const drive_state &state)
{
    reply r;
    r.data.resize(standard_inquiry_len);
    r.data[0] = static_cast<uint8_t>(profile.device_type & 0x1f);
    r.data[2] = 0x06; /* SPC-4 */
    r.data[3] = 0x02; /* response data format of the standard */
    r.data[4] = standard_inquiry_len - 5;
    r.data[7] = 0x02; /* command queueing */
    put_text(r.data, 8, 8, profile.vendor);
    put_text(r.data, 16, 16, profile.model);
    put_text(r.data, 32, 4, inquiry_revision(profile, state));
    return r;
}

reply inquiry(const drive_profile &profile, const drive_state &state, const request &req)
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

reply read_capacity_10(const drive_profile &profile)
{
    reply r;
    r.data.resize(8);
    put_be(r.data, 0, 4, std::min<uint64_t>(profile.blocks - 1, 0xffffffff));
    put_be(r.data, 4, 4, profile.block_length);
    return r;
}

reply read_capacity_16(const drive_profile &profile, const request &req)
{
    constexpr uint8_t read_capacity_action = 0x10;
    if ((req.bytes[1] & 0x1f) != read_capacity_action) return invalid_cdb_field();
    reply r;
    r.data.resize(32);
    put_be(r.data, 0, 8, profile.blocks - 1);
    put_be(r.data, 8, 4, profile.block_length);
    return cut_to(r, get_be(req.bytes, 10, 4));
}

/* Where a command has its block address and its count of blocks. */
struct extent {
    uint64_t lba;
    uint64_t count;
};

extent extent_of(const request &req)
{
    switch (req.bytes.size()) {
    case 6: {
        const uint64_t count = req.bytes[4];
        return {get_be(req.bytes, 1, 3) & 0x1fffff, count == 0 ? 256 : count};
    }
    case 10:
        return {get_be(req.bytes, 2, 4), get_be(req.bytes, 7, 2)};
    default:
        return {get_be(req.bytes, 2, 8), get_be(req.bytes, 10, 4)};
    }
}

/* READ delivers zeros, VERIFY nothing; both need blocks that exist. */
reply read_blocks(const drive_profile &profile, const request &req, bool delivers_data)
{
    const extent e = extent_of(req);
    if (e.lba >= profile.blocks || e.count > profile.blocks - e.lba) return lba_out_of_range();
    reply r;
    if (delivers_data) r.zeros = e.count * profile.block_length;
    return r;
}

struct log_parameter {
    uint8_t page;
    uint8_t code;
    uint8_t control;
    std::vector<uint8_t> value;
};

/* Pages 02h and 03h are write and read error counters, 0Dh is the temperature, 2Fh informational exceptions.
 */
const std::vector<log_parameter> &log_parameters()
{
    static const std::vector<log_parameter> parameters = {
        {0x02, 3, 0x02, {0, 0, 0, 0}      },
        {0x02, 6, 0x02, {0, 0, 0, 0}      },
        {0x03, 3, 0x02, {0, 0, 0x12, 0x34}},
        {0x03, 6, 0x02, {0, 0, 0, 0}      },
        {0x0d, 0, 0x03, {0, 31}           },
        {0x0d, 1, 0x03, {0, 60}           },
        {0x2f, 0, 0x03, {0, 0, 31, 0}     },
    };
    return parameters;
}

reply log_sense(const request &req)
{
    const uint8_t page = req.bytes[2] & 0x3f;
    if (req.bytes[3] != 0) return invalid_cdb_field();
    reply r;
    r.data = {page, 0, 0, 0};
    if (page == 0) r.data.push_back(0);
    for (const log_parameter &p : log_parameters()) {
        if (page == 0 && r.data.back() != p.page) r.data.push_back(p.page);
        if (page != p.page) continue;
        r.data.insert(r.data.end(), {0, p.code, p.control, static_cast<uint8_t>(p.value.size())});
        r.data.insert(r.data.end(), p.value.begin(), p.value.end());
    }
    if (r.data.size() == 4) return invalid_cdb_field();
    put_be(r.data, 2, 2, r.data.size() - 4);
    return cut_to(r, get_be(req.bytes, 7, 2));
}

size_t command_len(uint8_t opcode)
{
    if (opcode < 0x20) return 6;
    return opcode < 0x60 ? 10 : 16;
}

} // namespace

std::string inquiry_revision(const drive_profile &profile, const drive_state &state)
{
    if (!profile.is_ata() || state.revision.size() <= 4) return state.revision;
    return state.revision.substr(4, 4);
}

reply run_scsi_command(const drive_profile &profile, drive_state &state, const request &req)
{
    const uint8_t opcode = req.bytes[0];
    if (req.bytes.size() != command_len(opcode)) return invalid_opcode();
    switch (opcode) {
    case 0x00: /* TEST UNIT READY */
    case 0x1b: /* START STOP UNIT */
        return {};
    case 0x08: /* READ(6), (10), (16) */
    case 0x28:
    case 0x88:
        return read_blocks(profile, req, true);
    case 0x2f: /* VERIFY(10), (16) */
    case 0x8f:
        return read_blocks(profile, req, false);
    case 0x12:
        return cut_to(inquiry(profile, state, req), get_be(req.bytes, 3, 2));
    case 0x15:
        return mode_select_6(state, req);
    case 0x1a:
        return cut_to(mode_sense_6(profile, state, req), req.bytes[4]);
    case 0x25:
        return read_capacity_10(profile);
    case 0x4d:
        return log_sense(req);
    case 0x9e:
        return read_capacity_16(profile, req);
    default:
        return invalid_opcode();
    }
}

} // namespace rehearsal
