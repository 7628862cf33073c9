/* cycling.cpp - full-stroke head movement between the first and the last block. */
#include "base/settings.h"
#include "base/signals.h"
#include "device/cdb.h"
#include "device/sgen/ata_passthrough.h"
#include "device/sgen/operations.h"

#include <cstdio>
#include <cstdlib>

namespace sgen
{

constexpr lba_t max_lba_read6 = 0x1FFFFF;
constexpr lba_t max_lba_read10 = 0xFFFFFFFF;

namespace
{
struct free_memory {
    void operator()(void *p) const { free(p); }
};
} // namespace

static void cycle_ATA(Dev *dev, uint32_t count)
{
    cdb_t first_end;
    cdb_t far_end;
    const uint8_t far_command = dev->maxlba > ATA_MAX_LBA_28_BIT ? ATA_READ_VERIFY_EXT : ATA_READ_VERIFY;
    const size_t first_len = build_SAT_cdb(first_end, ATA_READ_VERIFY, 0, 1, 0);
    const size_t far_len = build_SAT_cdb(far_end, far_command, 0, 1, dev->maxlba);

    if (verbose) fprintf(stderr, "Initial Load");
    scsi_cmd_nodata(dev, far_end, far_len);
    if (verbose) fprintf(stderr, "\n");
    for (uint32_t i = 0; i < count; ++i) {
        if (verbose) fprintf(stderr, "Unload");
        scsi_cmd_nodata(dev, first_end, first_len);
        if (verbose) fprintf(stderr, " Load");
        scsi_cmd_nodata(dev, far_end, far_len);
        if (verbose) fprintf(stderr, "\n");
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
    /* A drive may claim any block length: room that can't be had must not end the program, so no new[] here.
     */
    const std::unique_ptr<void, free_memory> block(malloc(dev->blklen));
    if (!block) {
        perror("malloc");
        return;
    }
    cdb_t first_end;
    cdb_t far_end;
    const size_t first_len = build_CDB(first_end, READ_6, 0, 1, CDB_OPTION_END);
    const size_t far_len = build_CDB(far_end, read_command(dev->maxlba), dev->maxlba, 1, CDB_OPTION_END);

    if (verbose) fprintf(stderr, "Initial Load");
    scsi_cmd_in(dev, far_end, far_len, block.get(), dev->blklen);
    for (uint32_t i = 0; i < count && !hold_signals::is_pending(); ++i) {
        if (verbose) fprintf(stderr, "Unload");
        scsi_cmd_in(dev, first_end, first_len, block.get(), dev->blklen);
        if (verbose) fprintf(stderr, " Load");
        scsi_cmd_in(dev, far_end, far_len, block.get(), dev->blklen);
    }
}

void do_unload_load(Dev *dev, uint32_t count)
{
    const bool is_scsi = dev->interface == interface_scsi;
    if (verbose)
        fprintf(stderr, "Doing UNLOAD/LOAD on %s device %s\n",
                dev->interface == interface_ata ? "SATA" : "SCSI", device_name(dev));
    if (!is_scsi) {
        cycle_ATA(dev, count);
        return;
    }
    const hold_signals hold; /* a request to end the program shortens the cycling but leaves no cache off */
    const uint32_t old_rcd = set_RCD(dev, 1); /* the reads must reach the medium, not the cache */
    cycle_SCSI(dev, count);
    set_RCD(dev, old_rcd);
}

} // namespace sgen
