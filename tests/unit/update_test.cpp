#include "workflows/update.h"

#include "device/dev.h"
#include "helpers.h"
#include "process.h"

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

TEST(update, an_attempt_that_cannot_be_started_counts_as_no_failure)
{
    for (const int forks : {0, 1}) { /* the tool fails, so that there is an attempt for each */
        temp_dir dir;
        tool = {"sh", "-c", "exit 1"};
        const set_for_now left(process.forks_left, forks);
        const set_for_now pauses(process.pauses, std::vector<time_t>());
        Dev dev = {.fw_update_successful = forks, .selected = 1};
        update_args args = {.i = 2, .total = 3, .numerrors = 5, .yes = 1};
        EXPECT_EQ(log_of_update(dir, &dev, &args),
                  std::string("Now executing: TOOL\n") +
                      (forks == 1 ? "Command \"TOOL\" failed with status 1\n" : ""));
        EXPECT_EQ(dev.fw_update_successful, forks == 0);
        EXPECT_EQ(args.numerrors, forks == 1 ? 6U : 5U);
        EXPECT_EQ(args.i, 3U);
        EXPECT_EQ(process.pauses, std::vector<time_t>(static_cast<size_t>(forks), 10));
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
