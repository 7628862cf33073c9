#include "device/sgen/transport.h"

#include "base/settings.h"
#include "helpers.h"
#include "scripted.h"

#include <cerrno>
#include <csignal>

static const uint8_t inquiry[17] = {0x12, 0, 0, 0, 0x60, 0};
static const char registers[] = "72 01 00 1d 00 00 00 0e 09 0c 00 04 05 06 07 08 09 0a 0b 0c 0d 50";
static const char long_registers[] = "72 01 00 1d 00 00 00 0e 09 0c 01 04 05 06 07 08 09 0a 0b 0c 0d 50";

/* What the transport says of an INQUIRY that ends so. */
static std::string sent(const outcome &outcome, int result)
{
    fake_drive drive;
    drive.expect("none 12 00 00 00 60 00 [0]", "", outcome);
    scsi_error = 0xFFFFFFFF;
    return written_to(stderr, [&] { EXPECT_EQ(sgen::scsi_cmd_nodata(&drive.dev, inquiry, 6), result); });
}

TEST(transport, what_came_of_a_command)
{
    static const struct {
        unsigned char masked;
        unsigned short driver, host;
        const char *sense;
        int result;
        uint32_t scsi_error;
        const char *said;
    } cases[] = {
        {0, 0,    0, "",                                          1, 0,       ""                               },
        {1, 0,    7, registers,                                   1, 0,       ""                               },
        {2, 0,    0, registers,                                   0, 0x506,   ""                               },
        {1, 0,    0, "72 05 2a 00",                               0, 0xA0000, ""                               },
        {1, 0,    0, "70 01 f1 00 00 00 00 0a 00 00 00 00 17 02", 0, 0x11702, ""                               },
        {1, 0,    0, "",                                          0, 0,       ""                               },
        {0, 0x16, 3, "",                                          0, 0,       "SCSI(12h): driver_status == 6\n"},
        {0, 0x20, 0, "",                                          1, 0,       ""                               },
        {0, 0,    3, "",                                          0, 0,       "SCSI(12h): host_status == 3\n"  },
    };
    for (const auto &c : cases) {
        EXPECT_EQ(sent({c.masked, c.driver, c.host, 0, bytes(c.sense)}, c.result), c.said);
        EXPECT_EQ(scsi_error, c.scsi_error);
    }
    EXPECT_EQ(sent({.error = ENODEV}, 0),
              "*** CDB:\n00000000: 12 00 00 00 60 00 ....`.\nioctl(SG_IO): No such device\n");
    EXPECT_EQ(scsi_error, 0U);
}

TEST(transport, trace)
{
    const set_for_now level(verbose, 1);
    const std::string dump = "*** scsi_cmd_nodata:\n00000000: 12 00 00 00 60 00 ....`.\n";
    const std::string end = "    device=0d\n    status=50\nSCSI(12h): duration=21 ms\n";
    EXPECT_EQ(sent({1, 0, 0, 0, bytes(registers)}, 1),
              dump + "SENSE DATA:\n    error=04\n    sector_count=06\n    lba=0c0a08\n" + end);
    EXPECT_EQ(sent({1, 0, 0, 0, bytes(long_registers)}, 1),
              dump + "SENSE DATA:\n    error=04\n    sector_count=0506\n    lba=0b09070c0a08\n" + end);
    EXPECT_EQ(sent({1, 0, 0, 0, bytes("72 05 2a")}, 0),
              dump + "SCSI(12h): masked_status == 1\n*** SENSE DATA:\n00000000: 72 05 2a r.*\n");
}

TEST(transport, data_goes_both_ways)
{
    static const uint8_t pass_through_12[12] = {0xA1, 0, 0, 0, 0, 0, 0, 0, 0, 0xEC};
    fake_drive drive;
    char data[5] = "....";
    drive.expect("in 12 00 00 00 60 00 [4]", "AB");
    drive.expect("out a1 00 00 00 00 00 00 00 00 ec 00 00 [3] 41 42 2e", "", {0, 1, 0, 0, ""});
    EXPECT_EQ(sgen::scsi_cmd_in(&drive.dev, inquiry, 6, data, 4), 1);
    const auto send = [&] { EXPECT_EQ(sgen::scsi_cmd_out(&drive.dev, pass_through_12, 12, data, 3), 0); };
    EXPECT_EQ(written_to(stderr, send), "SATA(ECh): driver_status == 1\n");
    EXPECT_STREQ(data, "AB..");
}

TEST(transport, a_longer_command_block_aborts_before_anything_is_sent)
{
    fake_drive drive;
    EXPECT_EXIT(sgen::scsi_cmd_nodata(&drive.dev, inquiry, 17), testing::KilledBySignal(SIGABRT),
                "^\\*\\*\\* CDB:\n00000000: 12 00 00 00 60( 00){11} ....`\\.{11}\n$");
}
