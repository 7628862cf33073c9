#include "workflows/download.h"

#include "base/settings.h"
#include "device/dev.h"
#include "helpers.h"
#include "ui/menu.h"

TEST(download, menu_lines)
{
    EXPECT_STREQ(format_fw_update_line(nullptr, nullptr),
                 "S| Adp | Un,Drv | Vendor   | Model            | Revision | Image          ");
    const set_for_now no_colour(col_no, short{3});
    const set_for_now yes_colour(col_yes, short{4});
    Dev dev = {.adapter = "sda", .unit_host = 2, .slot_id = 5, .vendor = "ATA", .model = "M 1", .rev = "R1"};
    short colour = 0;
    EXPECT_EQ(format_fw_update_line(&dev, &colour), nullptr);
    EXPECT_NE(show_fw_update_line(&dev, nullptr), 0);
    const set_for_now all(show_all, 1);
    EXPECT_STREQ(format_fw_update_line(&dev, &colour),
                 "-| sda | 2,5    | ATA      | M 1              | R1       | <NONE>");
    EXPECT_EQ(colour, 3);
    EXPECT_EQ(show_fw_update_line(&dev, nullptr), 0);
    fw_select(nullptr, &dev);
    EXPECT_EQ(dev.selected, 0); /* without an image */
    dev.image = "/r//Data/x.lod";
    fw_select(nullptr, &dev);
    dev.unit_host = 1234567;
    EXPECT_STREQ(format_fw_update_line(&dev, nullptr),
                 "+| sda | 1234567, | ATA      | M 1              | R1       | x.lod");
    format_fw_update_line(&dev, &colour);
    EXPECT_EQ(colour, 4);
    dev.model = std::string(300, 'm');
    EXPECT_EQ(strlen(format_fw_update_line(&dev, nullptr)), 255U);
}
