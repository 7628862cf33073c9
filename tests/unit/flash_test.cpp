#include "workflows/flash.h"

#include "helpers.h"
#include "targets/marks.h"

#include <csignal>
#include <sys/wait.h>

static int may_lie; /* the controller, about status 46 */
static int asked;   /* times that the drive was asked for its identity */
static const char *rev_now;

TEST(flash, what_the_end_of_a_tool_means)
{
    static const struct {
        int wait_status;
        int may_lie;
        const char *model;
        const char *rev_now;
        int asked;
        const char *log; /* and the error stream, where it is a failure */
    } cases[] = {
        {W_EXITCODE(0,                   0),                 1,      "WD5002ABYS-50B1B0",              "R1",                                          0,                                                                              ""},
        {W_EXITCODE(46,                              0),                                    1,           "WD5002ABYS-50B1B0",       "R2",                       1,                                                                                           "Ignoring bogus error 0x2e\n"},
        {W_EXITCODE(46, 0),                   1,             "WD5002ABYS-50B1B0",                                           "R1",                                                                     1,                          "Command \"tool 'x'\" failed with status 46\n"},
        {W_EXITCODE(46,                             0), 1,       "WD5002ABYS-50B1B0",                           "R2 ",1,                          "Command \"tool 'x'\" failed with status 46\n"},
        {W_EXITCODE(46,                         0),                                          0,  "WD5002ABYS-50B1B0",        "R2",                                                                    0,                                                                                               "Command \"tool 'x'\" failed with status 46\n"},
        {W_EXITCODE(46,           0),                         1,                             "WD5002ABYS-50B1A0",        "R2",0,"Command \"tool 'x'\" failed with status 46\n"},
        {W_EXITCODE(45,                             0),    1,"WD5002ABYS-50B1B0",  "R2",                0,                                                                                                                                         "Command \"tool 'x'\" failed with status 45\n"},
        {W_EXITCODE(0,SIGKILL),              1,                        "WD5002ABYS-50B1B0",                                                   "R2",                                                                                0,
         "Command \"tool 'x'\" died with signal 9\n"},
        {SIGSEGV | WCOREFLAG,                   1,                              "WD5002ABYS-50B1B0",                      "R2",            0,   "Command \"tool 'x'\" died with signal 11\n"},
        {W_STOPCODE(SIGTSTP),                              1,                              "WD5002ABYS-50B1B0",                 "R2", 0,
         "Command \"tool 'x'\" STOPped due to signal 20\n"                                                                                      },
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
        EXPECT_EQ(log, c.log);
        EXPECT_EQ(said, log.starts_with("Command") ? log : "");
        EXPECT_EQ(result, log.starts_with("Command") ? attempt_failed : attempt_succeeded);
        EXPECT_EQ(asked, c.asked);
    }
    const Dev other = {.vendor = "ATAX", .model = "WD5002ABYS-50B1B0"};
    EXPECT_FALSE(is_RE3(&other));
}
