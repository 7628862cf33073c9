#include "base/dump.h"

#include "helpers.h"

TEST(dump, rows_of_sixteen_and_an_unpadded_last_one)
{
    const std::string row = "00000000: 41 20 1f 7f 80 ff 42 43 44 45 46 47 48 49 4a 4b A ....BCDEFGHIJK\n";
    const std::string data = bytes("41 20 1f 7f 80 ff") + "BCDEFGHIJKL";
    const auto dumped = [&](size_t n) { return written_to(stderr, [&] { dump("what", data.data(), n); }); };
    EXPECT_EQ(dumped(0), "*** what:\n");
    EXPECT_EQ(dumped(3), "*** what:\n00000000: 41 20 1f A .\n");
    EXPECT_EQ(dumped(16), "*** what:\n" + row);
    EXPECT_EQ(dumped(17), "*** what:\n" + row + "00000010: 4c L\n");
}
