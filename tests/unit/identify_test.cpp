#include "device/sgen/identify.h"

#include "helpers.h"
#include "scripted.h"

static const char identify[] = "in 85 08 0e 00 00 00 01 00 00 00 00 00 00 00 ec 00 [512]";
static const char serial_header[] = "in 12 01 80 00 04 00 [4]";

/* IDENTIFY DEVICE data with texts and with these words ("60:12ab ...": decimal number, hex value). */
static std::string identify_data(const char *words)
{
    std::string data(512, '\0');
    const std::string texts = "        SERIAL-12345      REV 1   MODEL X                                 ";
    for (size_t i = 0; i < texts.size(); ++i)
        data[size_t{2} * 10 + (i ^ 1)] = texts[i]; /* words 10-19, 23-26 and 27-46 */
    std::istringstream in(words);
    for (size_t word, value; in >> std::dec >> word && in.ignore() && in >> std::hex >> value;) {
        data[2 * word] = static_cast<char>(value);
        data[2 * word + 1] = static_cast<char>(value >> 8);
    }
    return data;
}

TEST(identify, size_out_of_identify_data)
{
    static const struct {
        const char *words;
        uint64_t maxlba;
        unsigned long blklen;
    } cases[] = {
        {"60:2345 61:1",                                 0x12344,            512    },
        {"60:1 62:7 63:7",                               0x0007000700000000, 512    }, /* all four words */
        {"60:ffff 61:fff 83:4400 101:2222 102:1 103:10", 0x001000012221FFFF, 512    },
        {"60:fffe 61:fff 83:4400 100:9",                 0x0FFFFFFD,         512    }, /* 28 are enough */
        {"60:ffff 61:fff 83:0400 100:9",                 0x0FFFFFFE,         512    }, /* word 83 not valid */
        {"60:ffff 61:fff 83:4000 100:9",                 0x0FFFFFFE,         512    }, /* no 48 bits */
        {"60:2 106:1000 117:800",                        1,                  4096   },
        {"60:2 106:ffff 117:1 118:2",                    1,                  0x40002},
        {"",                                             UINT64_MAX,         512    },
    };
    for (const auto &c : cases) {
        fake_drive drive;
        drive.expect(identify, identify_data(c.words));
        EXPECT_EQ(sgen::get_ATA_info(&drive.dev), 1);
        EXPECT_EQ(drive.dev.maxlba, c.maxlba) << c.words;
        EXPECT_EQ(drive.dev.blklen, c.blklen) << c.words;
        EXPECT_EQ(*drive.dev.vendor + "|" + *drive.dev.model + "|" + *drive.dev.rev + "|" + *drive.dev.serial,
                  "ATA|MODEL X|REV 1|SERIAL-12345");
    }
}

TEST(identify, capacity_falls_back_to_the_short_command)
{
    fake_drive drive(interface_scsi);
    drive.expect("in 9e 10 00 00 00 00 00 00 00 00 00 00 00 0c 00 00 [12]",
                 bytes("ff ff ff ff ff ff ff ff ff ff ff ff"), refused);
    drive.expect("in 25 00 00 00 00 00 00 00 00 00 [12]", bytes("f1 02 03 04 00 00 02")); /* cut short */
    EXPECT_EQ(sgen::rdcap(&drive.dev), 1);
    EXPECT_EQ(drive.dev.maxlba, 0xF1020304U);
    EXPECT_EQ(drive.dev.blklen, 512U);
}

/* Target revision and serial after asking for the running revision. */
static std::string revision_now(fake_drive *drive)
{
    drive->dev.serial = "S";
    drive->dev.target_rev = "old";
    written_to(stderr, [&] { sgen::get_fw_version(&drive->dev); });
    return *drive->dev.target_rev + "|" + *drive->dev.serial;
}

TEST(identify, running_revision)
{
    fake_drive drive(interface_ata);
    drive.expect(identify, "", refused);
    EXPECT_EQ(revision_now(&drive), "old|S");
    drive.expect(identify, identify_data(""));
    EXPECT_EQ(revision_now(&drive), "REV 1|S");

    drive.dev.interface = interface_scsi;
    const std::string page = bytes("00 80 00 22") + std::string(28, 'x') + "A12 yz";
    static const char *const cases[][3] = {
        {"00 80 00 22", "in 12 01 80 00 26 00 [38]", "A12|S"},
        {"00 80 00 1e", "in 12 01 80 00 22 00 [34]", "A1|S" }, /* short: what there is of it */
        {"00 80 00 0c", "in 12 01 80 00 10 00 [16]", "|S"   },
    };
    for (const auto &[header, command, want] : cases) {
        drive.expect(serial_header, bytes(header));
        drive.expect(command, page);
        EXPECT_EQ(revision_now(&drive), want);
    }
    drive.expect(serial_header, bytes("00 80 00 22"));
    drive.expect("in 12 01 80 00 26 00 [38]", "", refused);
    EXPECT_EQ(revision_now(&drive), "old|<unknown>");
}
