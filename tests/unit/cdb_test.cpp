#include "device/cdb.h"

#include "helpers.h"

TEST(cdb, each_command_has_its_fields_where_it_wants_them)
{
    static const char lba_and_length[] = "11 12 13 14 15 16 17 18 a1 a2 a3 a4 00 00";
    for (const std::string want :
         {"12 00 00 00 a4 00", "4c 00 00 00 00 00 00 a3 a4 00", "4d 00 00 00 00 00 00 a3 a4 00",
          "15 00 00 00 a4 00", "55 00 00 00 00 00 00 a3 a4 00", "1a 00 00 00 a4 00",
          "5a 00 00 00 00 00 00 a3 a4 00", "28 00 15 16 17 18 00 a3 a4 00", "88 00 ", "08 16 17 18 a4 00",
          "25 00 00 00 00 00 00 00 00 00", "9e 00 ", "1b 00 00 00 00 00", "00 00 00 00 00 00",
          "2f 00 15 16 17 18 00 a3 a4 00", "8f 00 "}) {
        std::string block = bytes(want.ends_with(' ') ? want + lba_and_length : want);
        cdb_t cdb;
        std::fill_n(cdb, sizeof cdb, 0xFF);
        const auto command = static_cast<uint8_t>(block[0]);
        EXPECT_EQ(build_CDB(cdb, command, 0x1112131415161718, 0xFFFFFFFFA1A2A3A4, CDB_OPTION_END),
                  block.size());
        block.resize(sizeof cdb);
        EXPECT_EQ(hex(cdb, sizeof cdb), hex(block.data(), sizeof cdb));
    }
}

TEST(cdb, options_change_their_bits_and_the_later_wins)
{
    static const struct {
        uint32_t command, first, value, second, other_value;
        const char *cdb;
    } cases[] = {
        {START_STOP_UNIT, CDB_STARTSTOP_IMMED,      3,       CDB_STARTSTOP_START,         3,    "1b 01 00 00 01 00"},
        {START_STOP_UNIT, CDB_STARTSTOP_START,      1,       CDB_STARTSTOP_START,         2,    "1b 00 00 00 00 00"},
        {INQUIRY,         CDB_VPD,                  0x180,   CDB_OPTION_END,              0,    "12 01 80 00 a4 00"},
        {MODE_SENSE_6,    CDB_MODE_SENSE_PC,        7,       CDB_MODE_SENSE_PAGE_CODE,    8,    "1a 00 c8 00 a4 00"},
        {MODE_SENSE_6,    CDB_MODE_SENSE_PAGE_CODE, 0xFF,    CDB_MODE_SENSE_PC,           2,    "1a 00 bf 00 a4 00"},
        {MODE_SENSE_6,    CDB_MODE_SENSE_DBD,       3,       CDB_OPTION_END,              0,    "1a 08 00 00 a4 00"},
        {MODE_SELECT_6,   CDB_MODE_SELECT_SP,       1,       CDB_OPTION_END,              0,    "15 01 00 00 a4 00"},
        {TEST_UNIT_READY, CDB_SERVICE_ACTION,       0xFF,    CDB_FUA,                     0,    "00 17 00 00 00 00"},
        {TEST_UNIT_READY, CDB_FUA,                  1,       CDB_MODE_SELECT_SP,          2,    "00 08 00 00 00 00"},
        {TEST_UNIT_READY, CDB_LOG_SELECT_SP,        CDB_VPD, CDB_LOG_SELECT_PCR,          0xFF, "00 00 00 00 00 00"},
        {TEST_UNIT_READY, CDB_LOG_SELECT_PC,        0xFF,    CDB_LOG_SELECT_SUBPAGE_CODE, 0xFF, "00 00 00 00 00 00"},
        {TEST_UNIT_READY, CDB_LOG_SELECT_PAGE_CODE, 0xFF,    CDB_FUA,                     1,    "00 08 00 00 00 00"},
    };
    for (const auto &c : cases) {
        cdb_t cdb;
        EXPECT_EQ(
            build_CDB(cdb, c.command, 0, 0xA4, c.first, c.value, c.second, c.other_value, CDB_OPTION_END),
            6U);
        EXPECT_EQ(hex(cdb, 6), c.cdb);
    }
}

TEST(cdb, too_much_is_cut_and_the_unknown_refused)
{
    cdb_t cdb = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(written_to(stderr, [&] { EXPECT_EQ(build_CDB(cdb, 0x100, 0, 0, CDB_OPTION_END), 0U); }),
              "Unknown command 100h\n");
    set_cdb6_lba(cdb, 0x200000);
    EXPECT_EQ(hex(cdb, 6), "ff e0 00 00 ff ff");
    set_cdb12_lba(cdb, 0x0102030405);
    set_cdb12_count(cdb, 0x0A0B0C0D0E);
    EXPECT_EQ(hex(cdb, 12), "ff e0 02 03 04 05 0b 0c 0d 0e ff ff");
}
