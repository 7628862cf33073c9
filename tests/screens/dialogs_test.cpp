/* The risk confirmation and the summary page. */
#include "console.h"

TEST(confirmation, is_centred_and_alarming)
{
    static const std::vector<std::string> lines = {
        "WARNING!",
        "THIS TOOL WILL MODIFY YOUR HARD DISK DRIVES!",
        "Therefore it is of vital importance that you have",
        "created BACKUP COPIES of all of your important data",
        "on these disks!",
        "If you have taken all required steps to ensure",
        "that your data is safe, please enter exactly the string",
        "\"Yes, I understand the risks!\"",
        "(without the quotes and teminated by RETURN).",
        "Enter the string \"exit\" to skip updating drive firmware."};
    for (const terminal &t : terminals) {
        SCOPED_TRACE(t.term + std::to_string(t.cols));
        console c({.inventory = drives("a"), .on = t});
        for (int row = 0; row < std::min<int>(t.rows, 16); ++row) {
            const std::string line = row < 3 || row > 12 ? "" : lines[static_cast<size_t>(row) - 3];
            EXPECT_TRUE(c.row(row, line.size() <= t.cols ? centred(line, t.cols) : "")); /* all or nothing */
            const look alarming = {false, true, t.has_colors ? red : usual};
            EXPECT_TRUE(c.drawn(row, row == 3 || row == 4 ? alarming : plain));
        }
        if (t.rows < 16) continue;
        EXPECT_TRUE(c.cursor(15, 0));
        c.type("Exit\n");
        EXPECT_TRUE(c.shows("*** Summary Page"));
    }
}

TEST(confirmation, asks_until_an_answer_is_exact)
{
    static const struct {
        std::string wrong, answer, next;
    } cases[] = {
        {"yes, i understand the risks!",  "Yes, I understand the risks!", "*** Firmware Update"},
        {"Yes, I understand the risks",   "7q2z",                         "*** Firmware Update"},
        {"Yes, I understand the risks!!", "exit",                         "(0 drives)"         },
        {"7Q2Z",                          "EXIT",                         "(0 drives)"         },
        {"\"7q2z\"",                      "ExIt",                         "(0 drives)"         },
    };
    for (const auto &t : cases) {
        SCOPED_TRACE(t.answer);
        console c({.inventory = drives("a")});
        EXPECT_TRUE(c.cursor(15, 0));
        c.type(t.wrong);
        EXPECT_TRUE(c.cursor(15, static_cast<int>(t.wrong.size())));
        c.type("\r");
        EXPECT_TRUE(c.cursor(15, 0)); /* asked again, over what was typed before */
        c.type("#");
        EXPECT_TRUE(c.rows(14, {"", "#" + t.wrong.substr(1)}));
        c.type("x\177\177\3\32\34\n"); /* Ctrl-C, Ctrl-Z and Ctrl-\ are keys like others */
        EXPECT_TRUE(c.cursor(15, 0));
        c.type(t.answer + "\n");
        EXPECT_TRUE(c.shows(t.next));
    }
}

TEST(confirmation, takes_79_characters_and_outlives_a_resize)
{
    console c({
        .inventory = drives("a"), .on = {30, 100}
    });
    EXPECT_TRUE(c.cursor(15, 0));
    c.type(std::string(75, 'x') + "0123456789");
    EXPECT_TRUE(c.row(15, std::string(75, 'x') + "0123"));
    c.type("\n7q2");
    EXPECT_TRUE(c.cursor(15, 3));
    c.resize(1, 1); /* no place to type at: neither an answer nor a busy loop */
    EXPECT_TRUE(c.rests());
    c.resize(24, 60);
    EXPECT_TRUE(c.row(4, centred("THIS TOOL WILL MODIFY YOUR HARD DISK DRIVES!", 60)));
    EXPECT_TRUE(c.drawn(4, {false, true, red}));
    EXPECT_TRUE(c.row(15, "7q2"));
    c.type("z\n");
    EXPECT_TRUE(c.shows("*** Firmware Update"));
}

static const std::string stars(62, '*');
static const std::string reminder = "*** A power cycle may be required to activate the firmware ***";
static const std::string prompt = "Do you want to power off your machine? Please enter \"Yes\" or \"No\":";
static const std::map<std::string, std::string> summary_files = {
    {"root/Data/ULL",  ".* .* - -\n"                                      },
    {"root/VERSION",   "1%s\n"                                            },
    {"root/sbin/init", "#!/bin/sh\necho \"$@\" >$VANDREL_REHEARSAL/init\n"}
};

static std::string summary_line(const std::string &name, const std::string &mark, size_t cols)
{
    return name + std::string(cols - name.size() - mark.size(), ' ') + mark;
}

TEST(summary, has_marks_flush_right_and_a_banner)
{
    for (const terminal &t : terminals) {
        if (t.rows < 10) continue; /* everything would be drawn over everything */
        SCOPED_TRACE(t.term + std::to_string(t.cols));
        console c({.inventory = other_drive('a'), .files = summary_files, .on = t});
        EXPECT_TRUE(c.rows(0, {centred("*** Summary Page (Vandrel V1%s) ***", t.cols),
                               summary_line("Grease Wear Levelling (1 drives)", "[OK]", t.cols),
                               summary_line("Download Firmware (0 drives)", "[N/A]", t.cols),
                               summary_line("S.M.A.R.T. check", "[FAIL]", t.cols), ""}));
        EXPECT_TRUE(c.rows(t.rows - 4, {cut(stars, t.cols), cut(reminder, t.cols), cut(stars, t.cols),
                                        cut(prompt, t.cols)}));
        const color marks[] = {t.has_colors ? green : usual, usual, t.has_colors ? red : usual};
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(c.look_of(i + 1, t.cols - 3), (look{false, false, marks[i]}));
            EXPECT_EQ(c.look_of(i + 1, t.cols - 1), plain);
        }
    }
}

TEST(summary, takes_yes_or_no_only_and_a_resize_for_neither)
{
    for (const std::string answer : {"Yes", "No"}) {
        console c({.inventory = other_drive('a'), .files = summary_files});
        for (const std::string wrong : {"yes", "YES", "no", "Y", "N", "", "Yes.", "Yesss", "No!"}) {
            EXPECT_TRUE(c.cursor(23, 67));
            c.type(wrong);
            EXPECT_TRUE(c.row(23, cut(prompt + " " + wrong.substr(0, 4), 80)));
            c.type("\3\32\n");
            EXPECT_TRUE(c.row(23, prompt));
        }
        c.type(answer.substr(0, 1));
        EXPECT_TRUE(c.row(23, prompt + " " + answer.substr(0, 1)));
        c.resize(10, 40);
        EXPECT_TRUE(c.row(9, prompt.substr(0, 40)));
        c.type("\n"); /* no room for an answer: none is taken */
        EXPECT_TRUE(c.rests());
        c.resize(30, 100);
        EXPECT_TRUE(c.row(29, prompt + " " + answer.substr(0, 1)));
        EXPECT_TRUE(c.row(3, summary_line("S.M.A.R.T. check", "[FAIL]", 100)));
        c.type(answer.substr(1) + "\n");
        EXPECT_TRUE(c.ends());
        EXPECT_EQ(c.file("init"), ""); /* -R was given: the machine stays on */
    }
}
