#include "rehearsal/profile/command.h"

namespace rehearsal
{

constexpr uint8_t key_illegal_request = 0x05;
constexpr size_t fixed_sense_len = 18;

uint64_t get_be(std::span<const uint8_t> bytes, size_t offset, size_t len)
{
    uint64_t value = 0;
    for (const uint8_t byte : bytes.subspan(offset, len))
        value = value << 8 | byte;
    return value;
}

void put_be(std::span<uint8_t> bytes, size_t offset, size_t len, uint64_t value)
{
    for (size_t i = len; i-- > 0; value >>= 8)
        bytes[offset + i] = static_cast<uint8_t>(value);
}

reply check_condition(uint8_t key, uint8_t code, uint8_t qualifier)
{
    reply r;
    r.status = status_check_condition;
    r.sense.resize(fixed_sense_len);
    r.sense[0] = 0x70; /* current error, fixed format */
    r.sense[2] = key;
    r.sense[7] = fixed_sense_len - 8;
    r.sense[12] = code;
    r.sense[13] = qualifier;
    return r;
}

reply invalid_opcode()
{
    return check_condition(key_illegal_request, 0x20, 0x00);
}

reply invalid_cdb_field()
{
    return check_condition(key_illegal_request, 0x24, 0x00);
}

reply lba_out_of_range()
{
    return check_condition(key_illegal_request, 0x21, 0x00);
}

reply ata_registers_returned(uint8_t key, uint8_t code, uint8_t qualifier, uint8_t error, uint8_t status,
                             uint8_t lba_mid, uint8_t lba_high)
{
    reply r;
    r.status = status_check_condition;
    r.sense.resize(22);
    r.sense[0] = 0x72; /* current error, descriptor format */
    r.sense[1] = key;
    r.sense[2] = code;
    r.sense[3] = qualifier;
    r.sense[7] = 14;   /* what follows */
    r.sense[8] = 0x09; /* ATA status return */
    r.sense[9] = 12;
    r.sense[11] = error;
    r.sense[17] = lba_mid;
    r.sense[19] = lba_high;
    r.sense[21] = status;
    return r;
}

reply aborted_command()
{
    constexpr uint8_t key_aborted_command = 0x0B;
    constexpr uint8_t error_abort = 0x04;
    constexpr uint8_t status_error = 0x51;
    /* As libata and most others tell it: fixed format, the registers in INFORMATION. */
    reply r = check_condition(key_aborted_command, 0, 0);
    r.sense[0] |= 0x80;
    r.sense[3] = error_abort;
    r.sense[4] = status_error;
    return r;
}

} // namespace rehearsal
