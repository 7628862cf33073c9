#include "device/sgen/operations.h"
#include "fakes.h"
#include "helpers.h"

static const char page_on[] = "07 00 10 00 08 02 01 ff";
static const char page_off[] = "07 00 10 00 08 02 00 ff";

/* The caching page is read, and changed where it says otherwise. */
static void expect_RCD(fake_drive *drive, bool is_on, bool wanted)
{
    drive->expect("in 1a 08 08 00 04 00 [4]", bytes(page_on));
    drive->expect("in 1a 08 08 00 08 00 [8]", bytes(is_on ? page_on : page_off));
    if (is_on != wanted)
        drive->expect(std::string("out 15 00 00 00 08 00 [8] ") + (wanted ? page_on : page_off));
}

/* Far end and first end, both refused: a failing command ends nothing. */
static void expect_cycles(fake_drive *drive, int cycles, const char *first_end, const char *far_end)
{
    drive->expect(far_end, "", refused);
    while (cycles-- > 0) {
        drive->expect(first_end, "", refused);
        drive->expect(far_end, "", refused);
    }
}

static void cycle_SCSI(uint64_t maxlba, const char *far_end)
{
    for (const bool was_on : {false, true}) {
        fake_drive drive;
        drive.dev.interface = interface_scsi;
        drive.dev.maxlba = maxlba;
        drive.dev.blklen = 4096;
        expect_RCD(&drive, was_on, true);
        expect_cycles(&drive, 2, "in 08 00 00 00 01 00 [4096]", far_end);
        expect_RCD(&drive, true, was_on);
        written_to(stderr, [&drive] { sgen::do_unload_load(&drive.dev, 2); });
    }
}

TEST(cycling, SCSI_drives_read_both_ends_past_the_cache)
{
    cycle_SCSI(0x1FFFFF, "in 08 1f ff ff 01 00 [4096]");
    cycle_SCSI(0x200000, "in 28 00 00 20 00 00 00 00 01 00 [4096]");
    cycle_SCSI(0xFFFFFFFF, "in 28 00 ff ff ff ff 00 00 01 00 [4096]");
    cycle_SCSI(0x100000000, "in 88 00 00 00 00 01 00 00 00 00 00 00 00 01 00 00 [4096]");

    fake_drive drive; /* a block length of 0, and no caching page at first */
    drive.dev.interface = interface_scsi;
    drive.expect("in 1a 08 08 00 04 00 [4]", "", refused);
    drive.expect("in 08 00 00 00 01 00 [0]");
    expect_RCD(&drive, true, false); /* taken for off before */
    written_to(stderr, [&] { sgen::do_unload_load(&drive.dev, 0); });
}

static void cycle_ATA(uint64_t maxlba, const char *far_end)
{
    fake_drive drive;
    drive.dev.interface = interface_ata;
    drive.dev.maxlba = maxlba;
    expect_cycles(&drive, 2, "none 85 06 0c 00 00 00 01 00 00 00 00 00 00 40 40 00 [0]", far_end);
    sgen::do_unload_load(&drive.dev, 2);
}

TEST(cycling, ATA_drives_verify_both_ends)
{
    cycle_ATA(0xFFFFFF, "none 85 06 0c 00 00 00 01 00 ff 00 ff 00 ff 40 40 00 [0]");
    cycle_ATA(0x0FFFFFFF, "none 85 07 0c 00 00 00 01 0f ff 00 ff 00 ff 40 40 00 [0]");
    cycle_ATA(0x10000000, "none 85 07 0c 00 00 00 01 10 00 00 00 00 00 40 42 00 [0]");
}
