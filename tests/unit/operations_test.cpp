#include "device/sgen/operations.h"

#include "device/sgen/locate.h"
#include "fakes.h"
#include "helpers.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

TEST(locate, the_child_is_busy_on_odd_seconds_until_it_is_killed)
{
    for (const char interface : {interface_ata, interface_scsi}) {
        const set_for_now clock(process.clock, std::deque<time_t>{2, 4, 6, 7});
        process.clock_readings = 0;
        fake_drive drive;
        drive.dev.interface = interface;
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        drive.child_report = ends[1];
        sgen::start_locate(&drive.dev);
        const pid_t child = drive.dev.locate_pid;
        ASSERT_GT(child, 0);
        char report[128] = "";
        EXPECT_GT(read(ends[0], report, sizeof report - 1), 0);
        EXPECT_STREQ(report, interface == interface_ata
                                 ? "4 none 85 06 0c 00 00 00 01 00 00 00 00 00 00 40 42 00 [0]"
                                 : "4 none 00 00 00 00 00 00 [0]");
        sgen::end_locate(&drive.dev);
        int wait_status = 0;
        EXPECT_EQ(waitpid(child, &wait_status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(wait_status) && WTERMSIG(wait_status) == SIGKILL);
        EXPECT_EQ(drive.dev.locate_pid, -1);
        close(ends[0]);
        close(ends[1]);
    }
    const set_for_now none(process.forks_left, 0);
    Dev dev = {};
    EXPECT_EQ(written_to(stderr, [&dev] { sgen::start_locate(&dev); }),
              "fork: Resource temporarily unavailable\n");
    EXPECT_EQ(dev.locate_pid, -1);
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
