/* Whole runs: the pagers, a download, and operators who go away. */
#include "console.h"

#include <regex>
#include <sstream>

/* Scrolls through a file of ten lines on six rows, and leaves. */
static void page_through(console &c, const std::vector<std::string> &lines, const std::string &footer,
                         const char *leave)
{
    const auto shows_page = [&](size_t rows, size_t cols, size_t start, const std::string &indicator) {
        std::vector<std::string> page;
        for (size_t i = start; i < std::min(start + rows - 1, lines.size()); ++i)
            page.push_back(cut(lines[i], cols));
        page.resize(rows - 1);
        page.push_back(cut(indicator + footer, cols));
        return c.rows(0, page);
    };
    c.resize(6, 80);
    std::istringstream script("- 0  k^ 0  j 1  JKxg 1  v 2  k 1  jvvv 5  jv\3 5  kkk^^kk 0");
    size_t start = 0;
    for (std::string keys; script >> keys >> start;) {
        c.type(keys);
        EXPECT_TRUE(shows_page(6, 80, start, start == 0 ? "(Top) " : start == 5 ? "(Bot) " : "")) << keys;
    }
    for (const auto &[rows, cols] : {std::pair(4, 20), std::pair(1, 1), std::pair(12, 80)}) {
        c.resize(rows, cols);
        EXPECT_TRUE(shows_page(rows, cols, 0, rows == 12 ? "(All) " : "(Top) "));
        EXPECT_TRUE(c.rests());
        EXPECT_TRUE(shows_page(rows, cols, 0, rows == 12 ? "(All) " : "(Top) ")); /* and it stays so */
    }
    c.type(leave);
}

static const std::string help_footer =
    "Use cursor keys to scroll through help or hit \"q\" to return to program";
static const std::string log_footer = "Use cursor keys to scroll through log  or hit \"q\" to quit";

TEST(help_pager, scrolls_within_the_file)
{
    const std::string text = "1 first   \n\n" + std::string(100, '3') + "\n\t4\n5\n6\n7\n8\n  9\nlast";
    const std::vector<std::string> lines = {
        "1 first", "", std::string(80, '3'), "        4", "5", "6", "7", "8", "  9", "last"};
    for (const char *leave : {"q", "Q"}) {
        console c({.inventory = drives("a"), .files = {{"root/Vandrel.help", text}}});
        c.confirm();
        c.type("H");
        page_through(c, lines, help_footer, leave);
        EXPECT_TRUE(c.row(0, centred("*** Firmware Update (Vandrel Vrehearsal) ***", 80)));
        EXPECT_TRUE(c.row(4, ""));
    }
}

TEST(help_pager, bears_any_file)
{
    static const std::string x(80, 'x');
    using lines = std::vector<std::string>;
    static const std::pair<std::string, lines> cases[] = {
        std::pair("", lines(2)),
        std::pair("\n \n", lines(2)),
        std::pair(std::string(8191 * 2 + 100, 'x') + "\nend\n",
                  lines{x, x, x, "end", ""}), /* read in pieces */
        std::pair(std::string("a\tb\33[31mred\a\r\n\0hidden\ngr\u00fcn\xff\xc3", 29),
                  lines{"a       b?[31mred?", "", "gr\u00fcn??"}),
        std::pair(x.substr(1) + "\u65e5\n" + x.substr(2) + "\u65e5", /* a character two columns wide */
                  lines{x.substr(1), x.substr(2) + "\u65e5"}),
    };
    for (const auto &[content, rows] : cases) {
        console c({.inventory = drives("a"), .files = {{"root/Vandrel.help", content}}});
        c.confirm();
        c.type("h");
        EXPECT_TRUE(c.row(23, "(All) " + help_footer));
        EXPECT_TRUE(c.rows(0, rows));
        EXPECT_TRUE(c.drawn(0, plain));
    }
    console c({.inventory = drives("ab")}); /* and a missing one: the menu stays */
    c.confirm();
    c.type("hHj-");
    EXPECT_TRUE(c.shows("-| sdb"));
    const std::regex messages("[^]*\nh pressed -> show help\\(.*/root/./Vandrel.help\\)\nh pressed -> [^]*");
    EXPECT_TRUE(std::regex_match(c.file("root/Data/Vandrel.stderr"), messages));
}

TEST(log_pager, scrolls_within_the_log_of_a_flash)
{
    console c({.inventory = drives("ab") + drive('c', "flash-noise=64")});
    c.confirm();
    c.type("g");
    EXPECT_TRUE(c.shows("Do you want to update 3 devices?"));
    c.type("Yes\n");
    EXPECT_TRUE(c.shows("Do you want to view"));
    c.type("Yes\n");
    std::istringstream log(c.file("root/Data/Vandrel.log"));
    std::vector<std::string> lines(10);
    for (std::string &line : lines)
        std::getline(log, line);
    page_through(c, lines, log_footer, "q");
    EXPECT_TRUE(c.shows("Download Firmware (3 drives)"));
}

TEST(flash, shows_progress_and_nothing_else_between_the_screens)
{
    console c({.inventory = drive('a', "flash-seconds=30 flash-noise=500") + drive('b', "flash-fails=1") +
                            drive('c', "flash-exit=3")});
    c.confirm();
    c.type("g");
    EXPECT_TRUE(c.cursor(0, 61));
    c.type("yes\n");
    EXPECT_TRUE(c.cursor(1, 28));
    c.resize(24, 79); /* no answer either */
    c.type(std::string(31, 'x') + "No\n");
    EXPECT_TRUE(c.cursor(2, 28));
    c.type("Yess\n");
    EXPECT_TRUE(c.shows("log file? Please enter"));
    EXPECT_NE(c.raw.find("\rFlashing drive 1 of 3  \b|\b/\b-\b\\\b|\b/"), std::string::npos);
    EXPECT_NE(c.raw.find("\rFlashing drive 3 of 3  \b|"), std::string::npos);
    c.type("No\n");
    EXPECT_TRUE(c.row(2, "Download Firmware (3 drives)" + std::string(45, ' ') + "[FAIL]"));
    EXPECT_TRUE(c.cursor(23, 67));
    c.type("No\n");
    EXPECT_TRUE(c.ends());
    static const std::regex expected(R"(0\|Do you want to update 3 devices\? Please enter "Yes" or "No": yes
1\|Please enter "Yes" or "No": x{31}No
2\|Please enter "Yes" or "No": Yess
3\|Flashing drive 1 of 3 [-|/\\]
4\|Firmware update of drive 1 of 3 successful, duration \d+s!
5\|Flashing drive 2 of 3 [-|/\\]
6\|Flashing drive 2 of 3 [-|/\\]
7\|Firmware update of drive 2 of 3 successful, duration \d+s!
((?:[89]|1[0-4])\|Flashing drive 3 of 3 [-|/\\]
){7}15\|Finished WITH ERRORS!
16\|Do you want to view the log file\? Please enter "Yes" or "No": No
)");
    EXPECT_TRUE(std::regex_match(c.screen(), expected)) << c.screen();
    EXPECT_NE(c.file("root/Data/Vandrel.stderr").find("failed with status 3\n"), std::string::npos);
}

enum way_to_go { hangs_up, hangs_up_unheard, ends_pipe, terminates };

struct flash_operator : testing::TestWithParam<way_to_go> {
};

TEST_P(flash_operator, may_go_away_at_any_prompt)
{
    /* Keys for the prompt before; what shows that this one has come. */
    static const std::pair<const char *, const char *> prompts[] = {
        std::pair("", "*** Select keyboard mapping"),
        std::pair("q", "WARNING!"),
        std::pair("exit now", "15|exit now"),
        std::pair("\0257q2z\n", "*** Firmware Update"), /* Ctrl-U first */
        std::pair("h", "return to program"),
        std::pair("qg", "update 1 device? Please enter"),
        std::pair("Yes\n", "Finished without errors."),
        std::pair("Yes\n", "scroll through log"),
        std::pair("q", "*** S.M.A.R.T. Check"),
        std::pair("q", "*** Summary Page"),
        std::pair("Ye", "\"No\": Ye"),
    };
    constexpr size_t first_after_flash = 6;
    static const int statuses[] = {-SIGHUP, 0, 0, -SIGTERM};
    for (size_t last = 0; last < std::size(prompts); ++last) {
        SCOPED_TRACE(prompts[last].second);
        console c({
            .inventory = drive('a', "smart-187=1"),
            .files = {{"root/lib/kbd/keymaps/i386/us.map.gz", ""},
                      {"root/Vandrel.help", ""},
                      {"root/Data/SMART187", ".* .* - -\n"}},
            .is_piped = GetParam() == ends_pipe,
            .ignores_hup = GetParam() == hangs_up_unheard
        });
        for (size_t i = 0; i <= last; ++i) {
            c.type(prompts[i].first);
            EXPECT_TRUE(c.shows(prompts[i].second));
        }
        if (GetParam() == terminates)
            c.signal(SIGTERM);
        else
            c.end_input();
        EXPECT_TRUE(c.ends(statuses[GetParam()]));
        EXPECT_EQ(c.has_sent("flash"), last >= first_after_flash);
    }
}

INSTANTIATE_TEST_SUITE_P(gone, flash_operator,
                         testing::Values(hangs_up, hangs_up_unheard, ends_pipe, terminates));

TEST(no_terminal, means_no_consent)
{
    console c({.inventory = drive('a', "smart-187=1"),
               .files = {{"root/Data/SMART187", ".* .* - -\n"}},
               .on = {.term = "no-such-terminal"}});
    EXPECT_TRUE(c.ends());
    EXPECT_FALSE(c.has_sent("flash"));
}

TEST(terminal, obeys_nothing_that_a_drive_says)
{
    console c({.inventory = drive('a', "", "B\33[2J\33]0;x\7\x9b"), .option = "--list -v"});
    EXPECT_TRUE(c.ends());
    EXPECT_NE(c.raw.find("sda,0,0,ATA,\"B?[2J?]0;x??\",0001,-,-;"), std::string::npos) << c.raw;
    EXPECT_NE(c.raw.find("find_image(dev=(V:ATA M:B?[2J?]0;x??"), std::string::npos);
    EXPECT_EQ(c.raw.find_first_of("\33\7\x9b"), std::string::npos);
}
