/* ata_passthrough.h - ATA commands wrapped in the ATA PASS-THROUGH command blocks of SAT (SCSI/ATA
 * Translation). */
#pragma once

#include "device/ata.h"
#include "device/cdb.h"

#include <cstdint>

namespace sgen
{

constexpr uint8_t ATA_PASS_THROUGH_16 = 0x85;
constexpr uint8_t ATA_PASS_THROUGH_12 = 0xA1;

/* SAT ATA PASS-THROUGH(16). The first of each byte pair holds the high bytes of a 48-bit command's registers.
 */
struct ata_passthrough_16 {
    uint8_t operation_code;
    uint8_t extend : 1, protocol : 4, multiple_count : 3;
    uint8_t t_length : 2, byte_block : 1, t_dir : 1, Reserved_1 : 1, ck_cond : 1, off_line : 2;
    uint8_t feature[2];      /* bits 8-15, 0-7 */
    uint8_t sector_count[2]; /* bits 8-15, 0-7 */
    uint8_t lba_low[2];      /* bits 24-31, 0-7 */
    uint8_t lba_mid[2];      /* bits 32-39, 8-15 */
    uint8_t lba_high[2];     /* bits 40-47, 16-23 */
    uint8_t device;
    uint8_t command;
    uint8_t control;
};
static_assert(sizeof(ata_passthrough_16) == 16);

/* SAT ATA PASS-THROUGH(12): never built here, only recognised in messages, by where its command stands. */
struct ata_passthrough_12 {
    uint8_t operation_code;
    uint8_t Reserved_0 : 1, protocol : 4, multiple_count : 3;
    uint8_t t_length : 2, byte_block : 1, t_dir : 1, Reserved_1 : 1, ck_cond : 1, off_line : 2;
    uint8_t feature;
    uint8_t sector_count;
    uint8_t lba_low;
    uint8_t lba_mid;
    uint8_t lba_high;
    uint8_t device;
    uint8_t command;
    uint8_t Reserved_2;
    uint8_t control;
};
static_assert(sizeof(ata_passthrough_12) == 12);

/* Register setters. Each sets `extend` when the value needs more than the low bytes, and never clears it. */
void set_pt16_feature(ata_passthrough_16 *pt16, uint16_t feature);
void set_pt16_count(ata_passthrough_16 *pt16, uint32_t count); /* 16 bits are kept */
void set_pt16_addr(ata_passthrough_16 *pt16, lba_t lba);       /* 48 bits are kept */

/* Builds the 16-byte block for an ATA command in cdb. The command's row says protocol, direction and device
 * register; SMART and DEVICE CONFIGURATION are known by command and feature together. Returns 16; 0, cdb
 * untouched and without a message, for a command that the table does not hold. */
size_t build_SAT_cdb(uint8_t *cdb, uint8_t command, uint32_t feature, uint32_t sector_count, lba_t lba);

} // namespace sgen
