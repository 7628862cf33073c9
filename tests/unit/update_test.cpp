#include "workflows/update.h"

#include "base/handles.h"
#include "device/dev.h"
#include "helpers.h"
#include "process.h"

#include <csignal>
#include <regex>
#include <sys/resource.h>

/* Updates a drive with a tool that fails, or without one; what is said, a bar, the log. */
static std::string update(Dev *dev, bool has_tool, update_args *args)
{
    const temp_dir dir;
    const std::string log_path = dir.path("log");
    args->log_path = log_path.c_str();
    dev->is_Tirsel_3 = [](Dev *) { return 0; };
    dev->fw_update = [](Dev *) { return build_Cmd({"false", "x"}); };
    if (!has_tool) dev->fw_update = [](Dev *) { return std::unique_ptr<Cmd>(); };
    const std::string said = written_to(stderr, [&] { do_update_one_device(dev, args); });
    return std::regex_replace(said, std::regex(log_path), "LOG") + "|" + content_of(log_path);
}

TEST(update, an_attempt_that_cannot_be_started_counts_as_no_failure)
{
    for (const int forks : {0, 1}) {
        const set_for_now left(process.forks_left, forks);
        const set_for_now pauses(process.pauses, std::vector<time_t>());
        Dev dev = {.fw_update_successful = forks, .selected = 1};
        update_args args = {.i = 2, .total = 3, .numerrors = 5, .yes = 1};
        const std::string failed = forks == 1 ? "Command \"false 'x'\" failed with status 1\n" : "";
        EXPECT_EQ(update(&dev, true, &args), failed + "fork: Resource temporarily unavailable\n" +
                                                 "|Now executing: false 'x'\n" + failed);
        EXPECT_EQ(dev.fw_update_successful, forks == 0);
        EXPECT_EQ(args.numerrors, forks == 1 ? 6U : 5U);
        EXPECT_EQ(args.i, 3U);
        EXPECT_EQ(process.pauses, std::vector<time_t>(static_cast<size_t>(forks), 10));
    }
}

TEST(update, what_script_and_log_do_not_take_is_told)
{
    const file_ptr full(fopen("/dev/full", "we"));
    const set_for_now left(process.forks_left, 1);
    Dev dev = {.selected = 1};
    update_args args = {.script = full.get(), .yes = 1};
    const auto deaf = signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit none = {.rlim_cur = 0, .rlim_max = before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    const std::string said = update(&dev, true, &args);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, deaf);
    EXPECT_EQ(said, "LOG: File too large\n/tmp/Script.sh: No space left on device\n"
                    "Command \"false 'x'\" failed with status 1\nLOG: File too large\n"
                    "fork: Resource temporarily unavailable\n|");
}

TEST(update, a_drive_without_a_command_fails_and_keeps_the_number)
{
    Dev dev = {.fw_update_successful = 1};
    update_args args = {.i = 2, .total = 3, .yes = 1};
    EXPECT_EQ(update(&dev, false, &args), "|"); /* not selected */
    EXPECT_EQ(args.numerrors, 0U);
    dev.selected = 1;
    EXPECT_EQ(update(&dev, false, &args), "|No command\n");
    EXPECT_EQ(dev.fw_update_successful, 0);
    EXPECT_EQ(args.numerrors, 1U);
    EXPECT_EQ(args.i, 2U);
}
