/* command.h - one command on its way to a simulated drive, and what comes back.
 * The same records serve every transport: the SCSI generic driver and a controller's pass-through. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace rehearsal
{

enum class direction { none, in, out };

/* An ATA command as the drive's registers hold it, however it travelled. */
struct ata_registers {
    uint8_t command;
    uint8_t device;
    uint16_t feature;
    uint16_t count;
    uint64_t lba;          /* 48 bits; a 28-bit command uses bits 0-23 and the device register's low bits */
    uint64_t transfer_len; /* most bytes that the transport will move */
    uint8_t protocol;      /* how data moves, by SAT's number */
    bool is_from_drive;    /* data, if any, comes from the drive */
    std::span<const uint8_t> data; /* for the drive */
};

/* SAT's numbers of the protocols that are used here. */
constexpr uint8_t sat_non_data = 3;
constexpr uint8_t sat_pio_data_in = 4;
constexpr uint8_t sat_pio_data_out = 5;
constexpr uint8_t sat_dma = 6;

struct request {
    std::span<const uint8_t> bytes;   /* the command block as sent */
    std::optional<ata_registers> ata; /* set when the block carries an ATA command */
    direction dir;
    std::span<uint8_t> data; /* the sender's buffer; empty without a data phase */
    unsigned timeout_ms;
};

constexpr uint8_t status_good = 0x00;
constexpr uint8_t status_check_condition = 0x02;

constexpr size_t checksum_offset = 511; /* of a page that ends in one */

/* What a drive answers, before faults and before it is cut to what the sender has room for. */
struct reply {
    uint8_t status = status_good;
    std::vector<uint8_t> sense;
    std::vector<uint8_t> data;
    uint64_t zeros = 0;        /* so many zero bytes follow data: blocks of a blank medium */
    bool has_checksum = false; /* makes the 512 bytes of data add up to 0; filled in at the very end */
};

/* What the sender sees. */
struct outcome {
    int error = 0; /* errno of a request that did not reach the drive, else 0 */
    uint8_t status = status_good;
    uint8_t host_status = 0;
    uint8_t driver_status = 0;
    std::vector<uint8_t> sense;
    size_t transferred = 0; /* bytes moved into or out of the sender's buffer */
    unsigned duration_ms = 0;
};

/* Big-endian fields of command blocks and pages. */
uint64_t get_be(std::span<const uint8_t> bytes, size_t offset, size_t len);
void put_be(std::span<uint8_t> bytes, size_t offset, size_t len, uint64_t value);

/* Replies without data. Sense data is in the fixed format. */
reply check_condition(uint8_t key, uint8_t code, uint8_t qualifier);
reply invalid_opcode();
reply invalid_cdb_field();
reply lba_out_of_range();

/* What an ATA drive's registers say after a command, as a translator gives it (SAT): an ATA status return
 * descriptor in sense data of the descriptor format. lba_mid and lba_high are bits 15:8 and 23:16. */
reply ata_registers_returned(uint8_t key, uint8_t code, uint8_t qualifier, uint8_t error, uint8_t status,
                             uint8_t lba_mid = 0, uint8_t lba_high = 0);

/* The answer to an ATA command that the drive aborts. */
reply aborted_command();

} // namespace rehearsal
