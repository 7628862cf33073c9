#include "device/identity.h"

#include "helpers.h"

static const uint8_t *raw(const std::string &s)
{
    return reinterpret_cast<const uint8_t *>(s.data());
}

TEST(identity, texts_are_swapped_stripped_and_end_where_the_data_does)
{
    static const char *const identify_words[][2] = {
        {"20 20 58 41 59 20 20 20 20 20", "AX Y"},
        {"41 20 42 20",                   "A B" }, /* a leading blank goes, not its word */
        {"20 20 20 20",                   ""    },
        {"42 41 00 43 00 00",             "ABC" }, /* padded with NULs */
    };
    for (const auto &[stored, want] : identify_words) {
        const std::string data = bytes("ff ff") + bytes(stored) + bytes("ff ff");
        EXPECT_EQ(ATA_strdup(raw(data), 1, static_cast<unsigned>(data.size() / 2 - 2)), want) << stored;
    }
    for (const auto &[data, want] : {
             std::pair("ab R1 cd", " R1"), {"abR123cd", "R123"},
               {"abR1",     "R1"  },
               {"ab",       ""    },
               {"a",        ""    }
    })
        EXPECT_EQ(extract_string(raw(data), strlen(data), {2, 4}), want) << data;
}

TEST(identity, serial_numbers_of_one_maker_are_short)
{
    static const char *const cases[][4] = {
  /* vendor  model  behind the header  serial */
        {"WDC",      "WD1", "  ABCDEFGHIJ", "ABCDEFGHIJ"},
        {"Seagate",  "X",   "  ABCDEFGHIJ", "ABCDEFGH"  },
        {"SEAGATEX", "X",   "  ABCDEFGHIJ", "ABCDEFGHIJ"},
        {"X",        "st1", "  ABCDEFGHIJ", "ABCDEFGH"  },
        {"WDC",      "WD1", "  ",           ""          },
    };
    for (const auto &[vendor, model, content, want] : cases) {
        const std::string page = bytes("00 80 00 00") + content;
        EXPECT_EQ(extract_serial(raw(page), page.size(), vendor, model), want) << vendor << model << content;
    }
}
