#include "rehearsal/inventory/inventory.h"

#include <gtest/gtest.h>

/* What is wrong with the drive's line that begins with this adapter. */
static std::string error_of(const std::string &adapter)
{
    const auto read = rehearsal::parse_inventory("\n" + adapter + ",0,3,ATA,\"M\",r,-,-;\n");
    return read.errors.empty() ? read.drives.at(0).label() : read.errors[0];
}

TEST(inventory, an_adapter_can_be_a_file_name)
{
    EXPECT_EQ(error_of("sda"), "sda,0,3");
    EXPECT_EQ(error_of("0"), "0,0,3");
    for (const std::string &bad : {std::string(), std::string("sd a"), std::string("sd\0a", 4),
                                   std::string("a/b"), std::string(".."), std::string("sd\ta")})
        EXPECT_EQ(error_of(bad),
                  "2: the adapter is neither the name of a block device nor a controller's number");
}
