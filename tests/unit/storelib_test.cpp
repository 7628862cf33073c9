/* Drives behind a controller: what is sent through its library, byte for byte, and what becomes of the
 * answers. */
#include "device/storelib/ata_passthrough.h"
#include "device/storelib/log_pages.h"
#include "device/storelib/scsi_passthrough.h"
#include "helpers.h"
#include "scripted.h"

using namespace storelib;

constexpr size_t scsi_data =
    64; /* where the data stands in either buffer, behind a response FIS of 20 bytes */
constexpr size_t ata_data = 60;

/* Requests in hexadecimal: the block without its pointer, a colon, the data buffer. dir: "0" without data,
 * "1" out, "2" in. fis: from the command on to the sector count. */
static std::string number(size_t value, size_t len)
{
    return " " + hex(&value, len);
}
static std::string zeros(size_t len)
{
    return len == 0 ? "" : number(0, 1) + zeros(len - 1);
}
static std::string request(const char *cmd, size_t size, const std::string &buffer)
{
    return std::string("06 ") + cmd + " 00 00 78 56 34 12 bc 9a" + zeros(14) + number(size, 4) + zeros(4) +
           ":" + buffer;
}
static std::string scsi(const std::string &dir, const std::string &cdb, size_t size, const std::string &data)
{
    const size_t len = (cdb.size() + 1) / 3;
    const std::string head = " bc 9a 01 00 0" + dir + " 00 00 00 0a 00 00" + number(len, 1) + " " + cdb;
    return request("00", scsi_data + size, head + zeros(16 - len + 32) + number(size, 4) + data);
}
static std::string ata(const std::string &dir, const std::string &fis, size_t size = 0)
{
    const std::string head =
        " bc 0" + dir + " 0a 00 " + (dir == "0" ? "04" : "11") + " 00 00 00 27 80 " + fis;
    return request("02", ata_data + size,
                   head + zeros(10) + number(20, 4) + number(size, 4) + zeros(20 + size));
}

TEST(controller_passthrough, SCSI_requests_and_their_failures)
{
    static const uint8_t cdb[17] = {0x4D, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    static const std::string cdb_10 = "4d 01 02 03 04 05 06 07 08 09";
    char data[] = "....";
    fake_drive drive;
    drive.expect(scsi("0", cdb_10, 0, ""));
    drive.expect(scsi("1", cdb_10, 4, " 2e 2e 2e 2e"), "WXYZ", {}, scsi_data);
    drive.expect(scsi("2", cdb_10 + " 0a 0b 0c 0d 0e 0f", 3, zeros(3)), "ABC", {}, scsi_data);
    drive.expect(scsi("0", cdb_10, 0, ""), "", {.error = 0x2D});
    drive.expect(scsi("0", cdb_10, 0, ""), "\2", {.error = 0x2D}, 10);
    drive.expect(scsi("1", cdb_10, 1, " 41"), "\x18", {.error = 0x2D}, 10);
    drive.expect(scsi("2", cdb_10, 4, zeros(4)), "EFGH", {.error = 0x2D}, scsi_data);
    const std::string said = written_to(stderr, [&] {
        EXPECT_EQ(SCSI_cmd_nodata(&drive.dev, cdb, 10), 1);
        EXPECT_EQ(SCSI_cmd_out(&drive.dev, cdb, 10, data, 4), 1);
        EXPECT_EQ(SCSI_cmd_in(&drive.dev, cdb, 16, data, 3), 1);
        EXPECT_EQ(SCSI_cmd_nodata(&drive.dev, cdb, 10), 0); /* not worth a word */
        EXPECT_EQ(SCSI_cmd_nodata(&drive.dev, cdb, 10), 0);
        EXPECT_EQ(SCSI_cmd_out(&drive.dev, cdb, 10, data, 1), 0);
        EXPECT_EQ(SCSI_cmd_in(&drive.dev, cdb, 10, data, 4), 0);
        EXPECT_EQ(SCSI_cmd_in(&drive.dev, cdb, 17, data, 4) + SCSI_cmd_out(&drive.dev, cdb, 0, data, 4), 0);
    });
    EXPECT_EQ(said, "Scsi status: 0x2\nScsi status: 0x18\nScsi status: 0x0\n"); /* of what was sent */
    EXPECT_STREQ(data, "ABC.");
}

TEST(controller_passthrough, only_ATA_commands_of_the_table_are_sent)
{
    std::string found; /* command:row */
    for (const uint16_t features : {0x000, 0x044, 0x0D0, 0x1D0})
        for (unsigned command = 0; command < 256; ++command)
            if (const int row = find_command_index(static_cast<uint8_t>(command), features); row != -1)
                found += hex(&command, 1) + ":" + std::to_string(row) + " ";
    EXPECT_EQ(found, "40:0 42:1 e0:4 e5:5 ec:2 40:0 42:1 e0:4 e1:6 e5:5 ec:2 "
                     "40:0 42:1 b0:3 e0:4 e5:5 ec:2 40:0 42:1 e0:4 e5:5 ec:2 ");
    fake_drive drive;
    for (const unsigned row : {0x400040, 0x420040, 0xEC0000, 0xB0D000, 0xE00000, 0xE50000, 0xE14400}) {
        const uint8_t command = row >> 16, features = row >> 8 & 0xFF, device = row & 0xFF;
        const std::string fis =
            hex(&command, 1) + number(features, 1) + " 01 02 03" + number(device, 1) + " 04 05 06 00 34 12";
        drive.expect(ata("0", fis));
        drive.expect(ata("2", fis, 2), "AB", {}, ata_data);
        char data[] = "...";
        EXPECT_EQ(SATA_cmd_nodata(&drive.dev, command, features, 0x1234, 0xFFFF060504030201), 1);
        EXPECT_EQ(SATA_cmd_in(&drive.dev, command, features, 0x1234, 0x060504030201, data, 2), 1);
        EXPECT_STREQ(data, "AB.");
    }
    const auto send = [&] { EXPECT_EQ(SATA_cmd_in(&drive.dev, 0xB0, 0x1D0, 0, 0, nullptr, 0), 0); };
    EXPECT_EQ(written_to(stderr, send), "Unknown command B0h (features:01D0h)\n");
}

TEST(log_pages, selection)
{
    static const char *const cases[][2] = {
        {"All",        "0 3 5 16 31 47 "},
        {"all,3",      ""               },
        {"0x10-0x1f,", "16 31 "         },
        {"3,abc,5",    "3 "             },
        {"5-3",        ""               },
        {" 3, 020,5-", "3 16 "          },
        {"3- 5 47",    "3 5 47 "        },
        {"-3",         ""               },
        {"4294967299", ""               }, /* does not wrap */
    };
    for (const auto &[list, want] : cases) {
        std::string selected;
        for (const uint32_t value : {0, 3, 5, 16, 31, 47})
            if (selected_page(value, list)) selected += std::to_string(value) + " ";
        EXPECT_EQ(selected, want) << list;
    }
    EXPECT_EQ(selected_page(9, nullptr), 1);
}

TEST(log_pages, supported_pages_with_their_selected_parameters)
{
    fake_drive drive;
    const auto expect = [&drive](const std::string &code, size_t size, const std::string &page) {
        const std::string cdb = "4d 00 " + code + " 00 00 00 00 00" + number(size, 1) + " 00";
        drive.expect(scsi("2", cdb, size, zeros(size)), bytes(page), {.error = page.empty()}, scsi_data);
    };
    for (const size_t size : {4, 9})
        expect("00", size, "00 00 00 05 00 02 43 0d 2f");
    for (const size_t size : {4, 23})
        expect("42", size, "02 00 00 13 00 03 01 02 aa bb 00 04 00 01 cc 00 05 03 00 00 03 00 00");
    expect("43", 4, "");
    for (const size_t size : {4, 9})
        expect("6f", size, "2f 00 00 05 00 03 00 ff 11"); /* claims more than is there */
    drive.dev.adapter = "0";
    const info wanted = {"0,2-3,0x2f", "3,5"};
    std::string printed;
    const auto dump = [&] { printed = written_to(stdout, [&] { dump_all_log_pages(&drive.dev, &wanted); }); };
    EXPECT_EQ(written_to(stderr, dump), "Scsi status: 0x0\n");
    EXPECT_EQ(printed, "0 [0,0]:\n*** PAGE CODE 02:\n02 0003 01 02: aa bb\n02 0005 03 00:\n"
                       "*** PAGE CODE 2f:\n2f 0003 00 ff: 11\n");
}
