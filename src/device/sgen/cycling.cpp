#include "device/sgen/cycling.h"

#include "base/signals.h"
#include "base/trace.h"
#include "device/cdb.h"
#include "device/sgen/ata_passthrough.h"
#include "device/sgen/caching.h"
#include "device/sgen/transport.h"

#include <new>

namespace sgen
{

constexpr lba_t max_lba_read6 = 0x1FFFFF;
constexpr lba_t max_lba_read10 = 0xFFFFFFFF;

static void cycle_ATA(Dev *dev, uint32_t count)
{
    cdb_t first_end;
    cdb_t far_end;
    const uint8_t far_command = dev->maxlba > ATA_MAX_LBA_28_BIT ? ATA_READ_VERIFY_EXT : ATA_READ_VERIFY;
    const size_t first_len = build_SAT_cdb(first_end, ATA_READ_VERIFY, 0, 1, 0);
    const size_t far_len = build_SAT_cdb(far_end, far_command, 0, 1, dev->maxlba);

    trace("Initial Load");
    scsi_cmd_nodata(dev, far_end, far_len);
    trace("\n");
    for (uint32_t i = 0; i < count && !hold_signals::is_pending(); ++i) {
        trace("Unload");
        scsi_cmd_nodata(dev, first_end, first_len);
        trace(" Load");
        scsi_cmd_nodata(dev, far_end, far_len);
        trace("\n");
    }
}

/* The shortest read that reaches the block. */
static uint32_t read_command(lba_t lba)
{
    if (lba <= max_lba_read6) return READ_6;
    return lba <= max_lba_read10 ? READ_10 : READ_16;
}

static void cycle_SCSI(Dev *dev, uint32_t count)
{
    /* A drive may claim any block length: room that can't be had must not end the program. */
    const std::unique_ptr<uint8_t[]> block(new (std::nothrow) uint8_t[dev->blklen]);
    if (!block) {
        report_error("malloc");
        return;
    }
    cdb_t first_end;
    cdb_t far_end;
    const size_t first_len = build_CDB(first_end, READ_6, 0, 1, CDB_OPTION_END);
    const size_t far_len = build_CDB(far_end, read_command(dev->maxlba), dev->maxlba, 1, CDB_OPTION_END);

    trace("Initial Load");
    scsi_cmd_in(dev, far_end, far_len, block.get(), dev->blklen);
    for (uint32_t i = 0; i < count && !hold_signals::is_pending(); ++i) {
        trace("Unload");
        scsi_cmd_in(dev, first_end, first_len, block.get(), dev->blklen);
        trace(" Load");
        scsi_cmd_in(dev, far_end, far_len, block.get(), dev->blklen);
    }
}

void do_unload_load(Dev *dev, uint32_t count)
{
    const bool is_scsi = dev->interface == interface_scsi;
    trace("Doing UNLOAD/LOAD on %s device %s\n", is_scsi ? "SCSI" : "SATA", device_name(dev));
    /* A request to end the program shortens the cycling; it must not leave a drive's cache switched off. */
    const hold_signals hold;
    if (!is_scsi) {
        cycle_ATA(dev, count);
        return;
    }
    const uint32_t old_rcd = set_RCD(dev, 1); /* the reads must reach the medium, not the cache */
    cycle_SCSI(dev, count);
    set_RCD(dev, old_rcd);
}

} // namespace sgen
