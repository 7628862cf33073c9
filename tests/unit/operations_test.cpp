#include "device/sgen/operations.h"

#include "device/sgen/locate.h"
#include "helpers.h"
#include "process.h"
#include "scripted.h"

#include <csignal>
#include <sys/wait.h>

TEST(locate, the_child_is_busy_on_odd_seconds_until_it_is_killed)
{
    static const struct {
        char interface;
        const char *report; /* clock readings, and the first command */
    } cases[] = {
        {interface_ata,  "4 none 85 06 0c 00 00 00 01 00 00 00 00 00 00 40 42 00 [0]"},
        {interface_scsi, "4 none 00 00 00 00 00 00 [0]"                              },
    };
    fake_drive drive;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    drive.child_report = ends[1];
    for (const auto &c : cases) {
        const set_for_now clock(process.clock, std::deque<time_t>{2, 4, 6, 7});
        process.clock_readings = 0;
        drive.dev.interface = c.interface;
        sgen::start_locate(&drive.dev);
        const pid_t child = drive.dev.locate_pid;
        ASSERT_GT(child, 0);
        char report[128] = "";
        EXPECT_GT(read(ends[0], report, sizeof report - 1), 0);
        EXPECT_STREQ(report, c.report);
        sgen::end_locate(&drive.dev);
        int wait_status = 0;
        EXPECT_EQ(waitpid(child, &wait_status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(wait_status) && WTERMSIG(wait_status) == SIGKILL);
    }
    const set_for_now none(process.forks_left, 0);
    EXPECT_EQ(written_to(stderr, [&] { sgen::start_locate(&drive.dev); }),
              "fork: Resource temporarily unavailable\n");
    sgen::end_locate(&drive.dev);
    EXPECT_EQ(drive.dev.locate_pid, -1);
    EXPECT_TRUE(process.groups.empty());
}

TEST(operations, flashing_command_and_SMART_data)
{
    fake_drive drive;
    uint8_t page[smart_page_size];
    drive.expect("in 85 08 0e 00 d0 00 01 00 00 00 4f 00 c2 00 b0 00 [512]", "AB");
    EXPECT_EQ(sgen::get_SMART(&drive.dev, page), 1);
    EXPECT_EQ(page[1], 'B');

    Dev dev = {.unit_host = 3, .slot_id = 7, .image = "/x/fw file.lod"};
    const std::unique_ptr<Cmd> cmd = sgen::fw_update(&dev);
    std::string line = std::to_string(cmd->argc);
    for (char *const *word = cmd->argv.data(); *word; ++word)
        line += std::string("|") + *word;
    EXPECT_EQ(line, "7|fw_download|-b3|-t7|-l|/x/fw file.lod|-n|-DDD");
}
