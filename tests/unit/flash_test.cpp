#include "workflows/flash.h"

#include "helpers.h"
#include "targets/marks.h"

static int may_lie; /* the controller, about status 46 */
static int asked;   /* times that the drive was asked for its identity */
static const char *rev_now;

TEST(flash, what_the_end_of_a_tool_means)
{
    static const struct {
        int wait_status; /* exit status in the high byte, signal in the low; low 7Fh: stopped */
        int may_lie;
        const char *model;
        const char *rev_now;
        int asked;
        const char *failure; /* null: none */
    } cases[] = {
        {0x0000, 1, "WD5002ABYS-50B1B0", "R1",  0, nullptr                   },
        {0x2E00, 1, "WD5002ABYS-50B1B0", "R2",  1, nullptr                   },
        {0x2E00, 1, "WD5002ABYS-50B1B0", "R1",  1, "failed with status 46"   },
        {0x2E00, 1, "WD5002ABYS-50B1B0", "R2 ", 1, "failed with status 46"   },
        {0x2E00, 0, "WD5002ABYS-50B1B0", "R2",  0, "failed with status 46"   },
        {0x2E00, 1, "WD5002ABYS-50B1A0", "R2",  0, "failed with status 46"   },
        {0x2D00, 1, "WD5002ABYS-50B1B0", "R2",  0, "failed with status 45"   },
        {0x0009, 1, "WD5002ABYS-50B1B0", "R2",  0, "died with signal 9"      },
        {0x008B, 1, "WD5002ABYS-50B1B0", "R2",  0, "died with signal 11"     },
        {0x147F, 1, "WD5002ABYS-50B1B0", "R2",  0, "STOPped due to signal 20"},
    };
    for (const auto &c : cases) {
        may_lie = c.may_lie;
        rev_now = c.rev_now;
        asked = 0;
        Dev dev = {.vendor = "ATA", .model = c.model, .rev = "R1", .target_rev = "R2"};
        dev.is_Tirsel_3 = [](Dev *) { return may_lie; };
        dev.get_device_info = [](Dev *d) {
            d->rev = rev_now;
            ++asked;
        };
        attempt_result result = attempt_not_started;
        std::string log;
        const auto judge = [&] { result = judge_wait_status(&dev, c.wait_status, "tool 'x'", stdout); };
        const std::string said = written_to(stderr, [&] { log = written_to(stdout, judge); });
        const std::string want = c.failure ? std::string("Command \"tool 'x'\" ") + c.failure + "\n" : "";
        EXPECT_EQ(said, want);
        EXPECT_EQ(log, c.asked && !c.failure ? "Ignoring bogus error 0x2e\n" : want);
        EXPECT_EQ(result, c.failure ? attempt_failed : attempt_succeeded);
        EXPECT_EQ(asked, c.asked);
    }
    const Dev other = {.vendor = "ATAX", .model = "WD5002ABYS-50B1B0"};
    EXPECT_FALSE(is_RE3(&other));
}
