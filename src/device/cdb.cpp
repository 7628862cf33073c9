#include "device/cdb.h"

#include "base/trace.h"
#include "device/bytes.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace
{
struct SCSI_op {
    uint8_t operation_code;
    uint8_t size; /* bytes */
    void (*set_lba)(uint8_t *cdb, lba_t lba);
    void (*set_count)(uint8_t *cdb, unsigned long count);
};

/* How a value enters the block: shifted left into the bits of `mask` of one byte, whose other bits are kept.
 */
struct option_field {
    uint8_t option;
    uint8_t byte;
    uint8_t mask;
    uint8_t shift;
};
} // namespace

static const SCSI_op SCSI_ops[] = {
  /* operation_code    size  set_lba          set_count */
    {INQUIRY,              6,  nullptr,       set_cdb6_count }, /* allocation length */
    {LOG_SELECT,           10, nullptr,       set_cdb10_count},
    {LOG_SENSE,            10, nullptr,       set_cdb10_count},
    {MODE_SELECT_6,        6,  nullptr,       set_cdb6_count }, /* parameter list length */
    {MODE_SELECT_10,       10, nullptr,       set_cdb10_count},
    {MODE_SENSE_6,         6,  nullptr,       set_cdb6_count },
    {MODE_SENSE_10,        10, nullptr,       set_cdb10_count},
    {READ_10,              10, set_cdb10_lba, set_cdb10_count}, /* blocks */
    {READ_16,              16, set_cdb16_lba, set_cdb16_count},
    {READ_6,               6,  set_cdb6_lba,  set_cdb6_count },
    {READ_CAPACITY_10,     10, nullptr,       nullptr        },
    {SERVICE_ACTION_IN_16, 16, set_cdb16_lba, set_cdb16_count},
    {START_STOP_UNIT,      6,  nullptr,       nullptr        },
    {TEST_UNIT_READY,      6,  nullptr,       nullptr        },
    {VERIFY_10,            10, set_cdb10_lba, set_cdb10_count},
    {VERIFY_16,            16, set_cdb16_lba, set_cdb16_count},
};

static const option_field option_fields[] = {
  /* option                 byte  mask  shift */
    {CDB_STARTSTOP_IMMED,      1, 0x01, 0},
    {CDB_STARTSTOP_START,      4, 0x01, 0},
    {CDB_SERVICE_ACTION,       1, 0x1F, 0},
    {CDB_FUA,                  1, 0x08, 3},
    {CDB_VPD,                  2, 0xFF, 0},
    {CDB_MODE_SENSE_DBD,       1, 0x08, 3},
    {CDB_MODE_SENSE_PC,        2, 0xC0, 6},
    {CDB_MODE_SENSE_PAGE_CODE, 2, 0x3F, 0},
    {CDB_MODE_SELECT_SP,       1, 0x01, 0},
};

constexpr uint8_t evpd = 0x01;
constexpr uint8_t lba_bits_of_cdb6 = 0x1F;

void set_cdb6_count(uint8_t *cdb, unsigned long count)
{
    cdb[4] = static_cast<uint8_t>(count);
}

void set_cdb6_lba(uint8_t *cdb, lba_t lba)
{
    cdb[1] = static_cast<uint8_t>((cdb[1] & ~lba_bits_of_cdb6) | ((lba >> 16) & lba_bits_of_cdb6));
    put_be(cdb + 2, lba, 2);
}

void set_cdb10_count(uint8_t *cdb, unsigned long count)
{
    put_be(cdb + 7, count, 2);
}

void set_cdb10_lba(uint8_t *cdb, lba_t lba)
{
    put_be(cdb + 2, lba, 4);
}

void set_cdb12_count(uint8_t *cdb, unsigned long count)
{
    put_be(cdb + 6, count, 4);
}

void set_cdb12_lba(uint8_t *cdb, lba_t lba)
{
    put_be(cdb + 2, lba, 4);
}

void set_cdb16_count(uint8_t *cdb, unsigned long count)
{
    put_be(cdb + 10, count, 4);
}

void set_cdb16_lba(uint8_t *cdb, lba_t lba)
{
    put_be(cdb + 2, lba, 8);
}

static const SCSI_op *find_op(uint32_t command)
{
    for (const SCSI_op &op : SCSI_ops)
        if (op.operation_code == command) return &op;
    return nullptr;
}

static void set_option(uint8_t *cdb, uint32_t option, uint32_t value)
{
    for (const option_field &field : option_fields) {
        if (field.option != option) continue;
        uint8_t &byte = cdb[field.byte];
        byte = static_cast<uint8_t>((byte & ~field.mask) | ((value << field.shift) & field.mask));
        if (option == CDB_VPD) cdb[1] |= evpd;
    }
}

size_t build_CDB(uint8_t *cdb, uint32_t command, lba_t lba, unsigned long length, ...)
{
    const SCSI_op *op = find_op(command);
    if (!op) {
        say("Unknown command %02Xh\n", command);
        return 0;
    }

    memset(cdb, 0, cdb_size);
    cdb[0] = op->operation_code;
    if (op->set_lba) op->set_lba(cdb, lba);
    if (op->set_count) op->set_count(cdb, length);

    va_list pairs;
    va_start(pairs, length);
    uint32_t option;
    while ((option = va_arg(pairs, uint32_t)) != CDB_OPTION_END)
        set_option(cdb, option, va_arg(pairs, uint32_t));
    va_end(pairs);
    return op->size;
}
