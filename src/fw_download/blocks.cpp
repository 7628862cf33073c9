#include "fw_download/blocks.h"

#include <algorithm>
#include <initializer_list>
#include <scsi/sg_unaligned.h>

namespace fw_download
{

enum operation_code : uint8_t {
    op_test_unit_ready = 0x00,
    op_request_sense = 0x03,
    op_inquiry = 0x12,
    op_write_buffer = 0x3B,
    op_read_buffer = 0x3C,
    op_ata_pass_through_16 = 0x85,
    op_maintenance_in = 0xA3,
};

enum ata_command : uint8_t {
    ata_read_log_ext = 0x2F,
    ata_download_microcode = 0x92,
    ata_download_microcode_dma = 0x93,
    ata_smart = 0xB0,
    ata_identify_device = 0xEC,
};

/* SAT: PROTOCOL stands in bits 1-4 of byte 1; byte 2 says where the length is and which way the data go. */
enum sat_byte_1 : uint8_t {
    sat_non_data = 3 << 1,
    sat_pio_in = 4 << 1,
    sat_pio_out = 5 << 1,
    sat_dma = 6 << 1
};
constexpr uint8_t sat_extend = 0x01;
constexpr uint8_t sat_in_blocks = 0x0E;  /* T_DIR 1, BYT_BLOK 1, T_LENGTH 2: COUNT */
constexpr uint8_t sat_out_blocks = 0x06; /* the same with T_DIR 0 */
constexpr uint8_t sat_registers = 0x20;  /* CK_COND 1: tell the registers, T_LENGTH 0 */

constexpr uint8_t legacy_device = 0xE0; /* bits that ACS made obsolete and older drives want */

static command make(const char *name, std::initializer_list<uint8_t> cdb)
{
    command c = {.name = name};
    std::copy(cdb.begin(), cdb.end(), c.cdb.begin());
    c.cdb_len = static_cast<uint8_t>(cdb.size());
    return c;
}

static command make_in(const char *name, std::initializer_list<uint8_t> cdb, std::span<uint8_t> in)
{
    command c = make(name, cdb);
    c.in = in;
    return c;
}

command test_unit_ready()
{
    return make("TEST UNIT READY", {op_test_unit_ready, 0, 0, 0, 0, 0});
}

command request_sense(std::span<uint8_t> in)
{
    return make_in("REQUEST SENSE", {op_request_sense, 0, 0, 0, static_cast<uint8_t>(in.size()), 0}, in);
}

command inquiry(std::span<uint8_t> in)
{
    command c = make_in("INQUIRY", {op_inquiry, 0, 0, 0, 0, 0}, in);
    sg_put_unaligned_be16(static_cast<uint16_t>(in.size()), &c.cdb[3]);
    return c;
}

command inquiry_page(uint8_t page, std::span<uint8_t> in)
{
    command c = inquiry(in);
    c.name = "INQUIRY, vital product data";
    c.cdb[1] = 1; /* EVPD */
    c.cdb[2] = page;
    return c;
}

command read_buffer_descriptor(std::span<uint8_t> in)
{
    command c = make_in("READ BUFFER, descriptor", {op_read_buffer, 3, 0, 0, 0, 0, 0, 0, 0, 0}, in);
    sg_put_unaligned_be24(static_cast<uint32_t>(in.size()), &c.cdb[6]);
    return c;
}

command report_operation_code(uint8_t opcode, std::span<uint8_t> in)
{
    command c = make_in("REPORT SUPPORTED OPERATION CODES",
                        {op_maintenance_in, 0x0C, 0x01, opcode, 0, 0, 0, 0, 0, 0, 0, 0}, in);
    sg_put_unaligned_be32(static_cast<uint32_t>(in.size()), &c.cdb[6]);
    return c;
}

command report_service_action(uint8_t opcode, uint16_t action, std::span<uint8_t> in)
{
    command c = report_operation_code(opcode, in);
    c.cdb[2] = 0x02;
    sg_put_unaligned_be16(action, &c.cdb[4]);
    return c;
}

static command pass_through(const char *name, uint8_t protocol, uint8_t transfer, uint8_t ata_command)
{
    return make(
        name, {op_ata_pass_through_16, protocol, transfer, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, ata_command, 0});
}

command identify_device(std::span<uint8_t> in)
{
    command c = pass_through("IDENTIFY DEVICE", sat_pio_in, sat_in_blocks, ata_identify_device);
    c.cdb[6] = 1; /* COUNT */
    c.in = in;
    return c;
}

command read_log_ext(uint8_t log, uint16_t page, std::span<uint8_t> in)
{
    command c = pass_through("READ LOG EXT", sat_pio_in | sat_extend, sat_in_blocks, ata_read_log_ext);
    c.cdb[6] = 1;                               /* COUNT */
    c.cdb[8] = log;                             /* LBA 7:0 */
    c.cdb[9] = static_cast<uint8_t>(page >> 8); /* LBA 39:32 and 15:8 hold the page number */
    c.cdb[10] = static_cast<uint8_t>(page);
    c.in = in;
    return c;
}

command smart_return_status()
{
    command c = pass_through("SMART RETURN STATUS", sat_non_data, sat_registers, ata_smart);
    c.cdb[4] = 0xDA;  /* FEATURES */
    c.cdb[10] = 0x4F; /* LBA 23:8, as SMART wants it */
    c.cdb[12] = 0xC2;
    return c;
}

static command write_buffer(download_mode mode, uint32_t offset, std::span<const uint8_t> segment)
{
    command c = make("WRITE BUFFER", {op_write_buffer, mode, 0, 0, 0, 0, 0, 0, 0, 0});
    sg_put_unaligned_be24(offset, &c.cdb[3]);
    sg_put_unaligned_be24(static_cast<uint32_t>(segment.size()), &c.cdb[6]);
    c.out = segment;
    return c;
}

static command microcode(carrier by, download_mode mode, uint32_t offset, std::span<const uint8_t> segment)
{
    const bool is_dma = by == carrier::microcode_dma;
    const auto blocks = static_cast<uint16_t>(segment.size() / ata_block);
    const auto first = static_cast<uint16_t>(offset / ata_block);
    command c =
        pass_through(is_dma ? "DOWNLOAD MICROCODE DMA" : "DOWNLOAD MICROCODE", is_dma ? sat_dma : sat_pio_out,
                     sat_out_blocks, is_dma ? ata_download_microcode_dma : ata_download_microcode);
    c.cdb[4] = mode;                              /* FEATURES */
    c.cdb[6] = static_cast<uint8_t>(blocks);      /* COUNT: the low byte of the number of blocks ... */
    c.cdb[8] = static_cast<uint8_t>(blocks >> 8); /* ... and LBA 7:0 its high byte */
    c.cdb[10] = static_cast<uint8_t>(first);      /* LBA 23:8: the first block */
    c.cdb[12] = static_cast<uint8_t>(first >> 8);
    c.cdb[13] = legacy_device;
    c.out = segment;
    return c;
}

command download_segment(carrier by, download_mode mode, uint32_t offset, std::span<const uint8_t> segment)
{
    return by == carrier::write_buffer ? write_buffer(mode, offset, segment)
                                       : microcode(by, mode, offset, segment);
}

command activate_download(carrier by)
{
    if (by == carrier::write_buffer) return write_buffer(mode_activate, 0, {});
    command c = pass_through("DOWNLOAD MICROCODE, activate", sat_non_data, 0, ata_download_microcode);
    c.cdb[4] = mode_activate;
    c.cdb[13] = legacy_device;
    return c;
}

} // namespace fw_download
