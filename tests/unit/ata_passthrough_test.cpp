#include "device/sgen/ata_passthrough.h"

#include "helpers.h"

static std::string block(unsigned command, uint32_t feature, uint32_t count, lba_t lba)
{
    cdb_t cdb = {0xAB};
    const size_t len = sgen::build_SAT_cdb(cdb, static_cast<uint8_t>(command), feature, count, lba);
    return hex(cdb, len ? len : 1);
}

/* protocol: bytes 1 and 2; commands: command and feature. */
static void expect_all(const char *protocol, const char *device, std::initializer_list<unsigned> commands)
{
    for (const unsigned both : commands) {
        const uint8_t command = both >> 8, feature = both & 0xFF;
        EXPECT_EQ(block(command, feature, 1, 0xC24F01), std::string("85 ") + protocol + " 00 " +
                                                            hex(&feature, 1) + " 00 01 00 01 00 4f 00 c2 " +
                                                            device + " " + hex(&command, 1) + " 00");
    }
}

TEST(ata_passthrough, each_command_has_its_protocol_direction_and_device)
{
    expect_all("08 0e", "40", {0x2000, 0x2400});
    expect_all("0c 0e", "40", {0x2500, 0x6000, 0xC800});
    expect_all("0c 06", "40", {0x3500, 0x6100, 0xCA00});
    expect_all("06 0c", "40", {0x4000, 0x4200});
    expect_all("0c 0e", "00", {0x4700});
    expect_all("0c 06", "00", {0x5700});
    expect_all("0a 06", "00", {0x9200, 0xB0D6, 0xF100, 0xF200, 0xF400, 0xF600});
    expect_all("08 0e", "00", {0xB0D0, 0xB0D1, 0xB0D5, 0xEC00});
    expect_all("06 00", "00", {0xB1C0, 0xE000, 0xE500, 0xEF55});
    expect_all("08 0a", "00", {0xB1C2});
    expect_all("0a 02", "00", {0xB1C3});
    expect_all("06 04", "00", {0xF300, 0xE100});
    EXPECT_EQ(block(0xB0, 0xDA, 1, 0) + block(0xB0, 0x1D0, 1, 0) + block(0xB1, 0, 1, 0) + block(0, 0, 1, 0),
              "abababab"); /* not in the table: left alone */
}

TEST(ata_passthrough, large_values_extend_the_command)
{
    EXPECT_EQ(block(0x25, 0, 255, 0xFFFFFF), "85 0c 0e 00 00 00 ff 00 ff 00 ff 00 ff 40 25 00");
    EXPECT_EQ(block(0x25, 0, 256, 0), "85 0d 0e 00 00 01 00 00 00 00 00 00 00 40 25 00");
    EXPECT_EQ(block(0x25, 0x100, 1, 0), "85 0d 0e 01 00 00 01 00 00 00 00 00 00 40 25 00");
    EXPECT_EQ(block(0x25, 2, 0x10001, 0xFFFF060504030201), "85 0d 0e 00 02 00 01 04 01 05 02 06 03 40 25 00");
}
