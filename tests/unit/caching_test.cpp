#include "device/sgen/caching.h"
#include "helpers.h"
#include "scripted.h"

TEST(caching, read_cache_bit_is_set_byte_by_byte)
{
    static const char no_sense[] = "Failed to MODE SENSE Caching mode page 8h\n";
    static const char no_select[] = "Failed to MODE SELECT Caching mode page 8h\n";
    static const struct {
        uint32_t rcd;
        uint32_t old;
        const char *page; /* header and page as the drive has them */
        const char *sent; /* null: nothing */
        const char *message;
    } cases[] = {
        {1, 0, "08 00 10 00 88 12 14 02 03",       "08 00 10 00 08 12 15 02 03",       ""       },
        {0, 1, "08 00 10 00 08 12 ff 02 03",       "08 00 10 00 08 12 fe 02 03",       ""       },
        {3, 0, "06 00 00 00 08 01 00",             "06 00 00 00 08 01 01",             ""       }, /* odd */
        {1, 1, "06 00 00 00 88 01 01",             nullptr,                            ""       },
        {1, 0, "0a 00 00 04 00 00 02 00 88 01 00", "0a 00 00 04 00 00 02 00 08 01 01", ""       },
        {2, 0, "06 00 00 00 08 01 01",             "06 00 00 00 08 01 00",             no_select},
        {1, 0, "00",                               nullptr,                            no_sense },
        {1, 0, "03 00 00 00",                      nullptr,                            no_sense },
        {1, 0, "05 00 00 00 88 01",                nullptr,                            no_sense },
        {1, 0, "06 00 00 ff 88 01 00",             nullptr,                            no_sense },
        {1, 0, "06 00 00 01 88 01 00",             nullptr,                            no_sense },
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.page);
        fake_drive drive;
        const std::string page = bytes(c.page);
        const auto total = static_cast<uint8_t>(page[0] + 1);
        const std::string length = hex(&total, 1) + " 00 [" + std::to_string(total) + "]";
        drive.expect("in 1a 08 08 00 04 00 [4]", page);
        drive.expect("in 1a 08 08 00 " + length, page);
        if (c.sent)
            drive.expect("out 15 00 00 00 " + length + " " + c.sent, "", *c.message ? refused : outcome{});
        const std::string said =
            written_to(stderr, [&] { EXPECT_EQ(sgen::set_RCD(&drive.dev, c.rcd), c.old); });
        EXPECT_TRUE(said.starts_with("*** Caching mode page 8h (pre):\n00000000: " + std::string(c.page, 2)));
        EXPECT_EQ(said.find("*** Caching mode page 8h (post):\n") != std::string::npos, c.sent != nullptr);
        EXPECT_TRUE(said.ends_with(c.message));
        EXPECT_EQ(said.find("Failed") != std::string::npos, *c.message != '\0');
    }
}
