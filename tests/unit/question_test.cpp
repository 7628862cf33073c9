#include "ui/dialogs.h"

#include "helpers.h"

/* The answers to as many questions as given, of this input, and the number of prompts. */
static std::string answers_of(std::string input, int questions)
{
    const set_for_now in(stdin, input.empty() ? fopen("/dev/null", "re")
                                              : fmemopen(input.data(), input.size(), "r"));
    std::string answers;
    const std::string said = written_to(stdout, [&] {
        for (int i = 0; i < questions; ++i)
            answers += std::to_string(yorn("Really"));
    });
    fclose(stdin);
    const std::string prompt = "Please enter \"Yes\" or \"No\": ";
    EXPECT_TRUE(said.starts_with("Really? " + prompt));
    size_t prompts = 0;
    for (size_t at = 0; (at = said.find(prompt, at)) != std::string::npos; ++at)
        ++prompts;
    return answers + " " + std::to_string(prompts);
}

TEST(question, only_yes_and_no_with_their_capitals_are_answers)
{
    EXPECT_EQ(answers_of("Yes\nNo\nYesterday\nNot\n", 4), "1010 4");
    EXPECT_EQ(answers_of("yes\ny\nYES\n Yes\nYe\n\nYes", 1), "1 7");
    EXPECT_EQ(answers_of("NO\nn\nno\nN\nNo\n", 1), "0 5");
    EXPECT_EQ(answers_of("", 1), "0 1"); /* end of input */
    EXPECT_EQ(answers_of("what", 1), "0 2");
    EXPECT_EQ(answers_of(std::string("x\0\nYes\n", 7), 1), "1 2");
    const std::string x30(30, 'x');
    EXPECT_EQ(answers_of(x30 + "\nYes\n", 1), "1 2");    /* just fits */
    EXPECT_EQ(answers_of(x30 + "xYes\nNo\n", 1), "0 2"); /* the rest of a long line answers nothing */
    EXPECT_EQ(answers_of("Yes" + x30 + "No\nYes\n", 2), "11 2");
}
