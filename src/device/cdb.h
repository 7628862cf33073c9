/* cdb.h - SCSI command descriptor blocks (SPC, SBC), built from one table of the commands this program sends.
 * Multi-byte fields are big-endian, as SCSI has them. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t cdb_size = 16;
using cdb_t = uint8_t[cdb_size]; /* every block has this size, whatever the command's length */
using lba_t = uint64_t;

enum scsi_command : uint32_t {
    TEST_UNIT_READY = 0x00,
    READ_6 = 0x08,
    INQUIRY = 0x12,
    MODE_SELECT_6 = 0x15,
    MODE_SENSE_6 = 0x1A,
    START_STOP_UNIT = 0x1B,
    READ_CAPACITY_10 = 0x25,
    READ_10 = 0x28,
    VERIFY_10 = 0x2F,
    LOG_SELECT = 0x4C,
    LOG_SENSE = 0x4D,
    MODE_SELECT_10 = 0x55,
    MODE_SENSE_10 = 0x5A,
    READ_16 = 0x88,
    VERIFY_16 = 0x8F,
    SERVICE_ACTION_IN_16 = 0x9E,
};

constexpr uint32_t SAI_READ_CAPACITY_16 = 0x10; /* service action of SERVICE ACTION IN(16) */

/* What a (option, value) pair does to the block. */
enum cdb_option : uint32_t {
    CDB_OPTION_END = 0,
    CDB_STARTSTOP_IMMED = 1,
    CDB_STARTSTOP_START = 2,
    CDB_SERVICE_ACTION = 3,
    CDB_FUA = 4,
    CDB_VPD = 5, /* sets EVPD; the value is the page code */
    CDB_MODE_SENSE_DBD = 6,
    CDB_MODE_SENSE_PC = 7,
    CDB_MODE_SENSE_PAGE_CODE = 8,
    CDB_MODE_SELECT_SP = 9,
    /* The LOG SELECT options are taken with their values and change nothing. */
    CDB_LOG_SELECT_SP = 10,
    CDB_LOG_SELECT_PCR = 11,
    CDB_LOG_SELECT_PC = 12,
    CDB_LOG_SELECT_PAGE_CODE = 13,
    CDB_LOG_SELECT_SUBPAGE_CODE = 14,
};

/* Field setters: each changes the named bytes only and cuts the value to the field's width. Those of 12-byte
 * blocks complete the set; no command of the table is that long. */
void set_cdb6_count(uint8_t *cdb, unsigned long count);  /* byte 4 */
void set_cdb6_lba(uint8_t *cdb, lba_t lba);              /* bytes 1 (bits 0-4) to 3: 21 bits */
void set_cdb10_count(uint8_t *cdb, unsigned long count); /* bytes 7-8 */
void set_cdb10_lba(uint8_t *cdb, lba_t lba);             /* bytes 2-5 */
void set_cdb12_count(uint8_t *cdb, unsigned long count); /* bytes 6-9 */
void set_cdb12_lba(uint8_t *cdb, lba_t lba);             /* bytes 2-5 */
void set_cdb16_count(uint8_t *cdb, unsigned long count); /* bytes 10-13 */
void set_cdb16_lba(uint8_t *cdb, lba_t lba);             /* bytes 2-9 */

/* Builds the block for `command` in cdb (cdb_size bytes): zeroed, then address and length where the command
 * has them, then the (uint32_t option, uint32_t value) pairs that follow, ended by CDB_OPTION_END; a later
 * pair overrides an earlier one on the same bits. Returns the command's length in bytes (6, 10 or 16); 0 with
 * a message, cdb untouched, for a command that the table does not hold. */
size_t build_CDB(uint8_t *cdb, uint32_t command, lba_t lba, unsigned long length, ...);
