#include "targets/targets.h"

#include "device/dev.h"
#include "helpers.h"

TEST(targets, only_well_formed_lists_are_valid)
{
    EXPECT_TRUE(valid_targets(nullptr));
    for (const char *good : {"ALL", "sda,0,0", "sdab,2,5:3,1,7", "12,0,4", "sdZ,0,0", "sda,00,4294967296"})
        EXPECT_TRUE(valid_targets(good)) << good;
    for (const char *bad :
         {"", "all", "ALL:sda,0,0", "sda,0", "sdabc,0,0", "sd,0,0", "sda,0,0:", ":sda,0,0", "SDA,0,0",
          "sda,0,0 ", "sda,-1,0", "sda,*,0", "xsda,0,0", "sda,0,0\n", "1a,0,0", "sda,0,0::sdb,0,0"})
        EXPECT_FALSE(valid_targets(bad)) << bad;
}

static int selected(const char *adapter, const char *image, const char *targets, int before)
{
    Dev dev = {.adapter = adapter, .unit_host = 2, .slot_id = 5, .selected = before, .image = image};
    select_auto_target(&dev, const_cast<char *>(targets));
    return dev.selected;
}

TEST(targets, a_list_selects_the_drives_it_names)
{
    /* "*" in front of an adapter steps over as many characters as the adapter has, whatever they are. */
    for (const char *hit : {"ALL", "sda,2,5", "SDA,2,5", "sdb,2,5:sda,3,5:sda,2,5", "sda,2,5:", "sda,02,05",
                            "sda,2,5:junk", "sda,*,*", "*xyz,2,5", "*xyz,*,*", "*2,:,2,5"})
        EXPECT_EQ(selected("sda", "image", hit, 0), 1) << hit;
    std::istringstream misses(
        "all sda,2,6 sda,20,5:sda,2,55 sda,2,5x sda,2,4294967301 sda,4294967298,5 sda,2, sda,+2,5 "
        "sda,2 sda sdab,2,5 sd,2,5 sda,*,6 sda,**,5 *,2,5 *xy,2,5 *wxyz,2,5 *:sda,2,5 * *ab *abc "
        "sdb,2,5");
    for (std::string miss; misses >> miss;)
        EXPECT_EQ(selected("sda", "image", miss.c_str(), 1), 0) << miss;
    EXPECT_EQ(selected("sda", "image", "", 1) + selected("sda", "image", "sda, 2,5", 1), 0);
    EXPECT_EQ(selected("sdab", "image", "sda,2,5", 1), 0);
    EXPECT_EQ(selected("", "image", "*,2,5", 0), 1);
    for (const int mark : {0, 1}) { /* without a list or an image the mark stays */
        EXPECT_EQ(selected("sda", "image", nullptr, mark), mark);
        EXPECT_EQ(selected("sda", nullptr, mark ? "sdb,0,0" : "ALL", mark), mark);
    }
}
