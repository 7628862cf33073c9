#include "device/sgen/locate.h"

#include "helpers.h"
#include "process.h"

TEST(locate, nothing_is_signalled_where_no_child_could_be_made)
{
    const set_for_now none(process.forks_left, 0);
    Dev dev = {.locate_pid = -1};
    EXPECT_EQ(written_to(stderr, [&] { sgen::start_locate(&dev); }),
              "fork: Resource temporarily unavailable\n");
    sgen::end_locate(&dev);
    EXPECT_EQ(dev.locate_pid, -1);
    EXPECT_TRUE(process.groups.empty());
}
