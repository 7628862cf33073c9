#include "workflows/update.h"

#include "device/dev.h"
#include "fakes.h"
#include "helpers.h"

static std::vector<std::string> tool;

/* Updates a drive with the tool; the log, the tool's command in it shown as TOOL. */
static std::string log_of_update(const temp_dir &dir, Dev *dev, update_args *args)
{
    const std::string log_path = dir.path("log");
    args->log_path = log_path.c_str();
    dev->is_Tirsel_3 = [](Dev *) { return 0; };
    dev->fw_update = [](Dev *) { return tool.empty() ? nullptr : build_Cmd(tool); };
    written_to(stderr, [&] { do_update_one_device(dev, args); });
    std::string log = content_of(log_path);
    const std::string line = tool.empty() ? "" : tool[0] + " '" + tool[1] + "' '" + tool[2] + "'";
    for (size_t at; !line.empty() && (at = log.find(line)) != std::string::npos;)
        log.replace(at, line.size(), "TOOL");
    return log;
}

TEST(update, a_failing_tool_gets_seven_attempts_and_as_many_pauses)
{
    static const struct {
        int runs;  /* that the tool needs to succeed */
        int forks; /* that work; -1: all */
        int successful;
        size_t failures;
    } cases[] = {
        {1, -1, 1, 0},
        {3, -1, 1, 2},
        {7, -1, 1, 6},
        {8, -1, 0, 7},
        {1, 0,  1, 0}, /* an attempt that can't be started counts as no failure */
        {3, 1,  0, 1},
    };
    for (const auto &c : cases) {
        temp_dir dir;
        const std::string runs = dir.path("runs");
        tool = {
            "sh", "-c",
            format_text(256, "echo >> %s; test $(wc -l < %s) -ge %d", runs.c_str(), runs.c_str(), c.runs)};
        const set_for_now forks(process.forks_left, c.forks);
        const set_for_now pauses(process.slept, std::vector<unsigned>());
        const set_for_now clock(process.uptime, std::deque<time_t>{1000, 1007});
        Dev dev = {.fw_update_successful = !c.successful, .selected = 1};
        update_args args = {.i = 2, .total = 3, .numerrors = 5, .yes = 1};

        std::string want = "Now executing: TOOL\n";
        for (size_t i = 0; i < c.failures; ++i)
            want += "Command \"TOOL\" failed with status 1\n";
        const std::string duration = c.failures ? "0s!\n" : "7s!\n";
        if (c.successful && c.forks)
            want += "Firmware update of drive 2 of 3 successful, duration " + duration;
        EXPECT_EQ(log_of_update(dir, &dev, &args), want);
        EXPECT_EQ(dev.fw_update_successful, c.successful);
        EXPECT_EQ(args.numerrors, c.successful ? 5U : 6U);
        EXPECT_EQ(args.i, 3U);
        EXPECT_EQ(process.slept, std::vector<unsigned>(c.failures, 10));
    }
}

TEST(update, a_drive_without_a_command_fails_and_keeps_the_number)
{
    temp_dir dir;
    tool = {};
    Dev dev = {.fw_update_successful = 1};
    update_args args = {.i = 2, .total = 3, .yes = 1};
    log_of_update(dir, &dev, &args); /* not selected */
    EXPECT_EQ(args.numerrors, 0U);
    dev.selected = 1;
    EXPECT_EQ(log_of_update(dir, &dev, &args), "No command\n");
    EXPECT_EQ(dev.fw_update_successful, 0);
    EXPECT_EQ(args.numerrors, 1U);
    EXPECT_EQ(args.i, 2U);
}
