#include "base/pattern.h"

#include "helpers.h"

static std::string repeat(const char *part, int count)
{
    std::string all;
    while (count-- > 0)
        all += part;
    return all;
}

/* "" for a pattern that is accepted, else the reason. */
static std::string outcome(const std::string &pattern)
{
    std::string error;
    return compile_pattern(pattern.c_str(), REG_EXTENDED | REG_NOSUB, &error) ? "" : error;
}

TEST(pattern, those_that_would_take_all_memory_are_refused)
{
    /* Each of the accepted ones stays below 400 MB and half a second. */
    for (const std::string &good :
         {repeat("a+", 4095), repeat("a?", 4095), repeat("a|", 4095), repeat("()", 4095),
          std::string(".{0,255}"), std::string("(([A-Z]{4}|[0-9]{0,9})+x){20}"),
          repeat("[]{9999}[:alpha:]{9999}]", 40), repeat("\\{9999}", 40), std::string("(.)(.)\\1\\2\\1\\2"),
          std::string("a{0,6000}"), std::string("[\\1\\2\\3\\4\\5\\6]")})
        EXPECT_EQ(outcome(good), "") << good.substr(0, 40);
    for (const char *bad :
         {"a{0,9000}", "a{9000,}", "(a?){4000}", "(a{0,100}){0,100}", "((((a{9}){9}){9}){9}){9}",
          "((a{200}){200}", "(((((((((((((((((a)+)+)+)+)+)+)+)+)+)+)+)+)+)+)+)+)+", "[]a]{9000}",
          "[[:alpha:][]{9000}", "([[:alpha:]]{100}){100}", "(.)\\1\\1\\1\\1\\1", "(.?)*\\1{50}b"})
        EXPECT_EQ(outcome(bad), "Regular expression too big") << bad;
    EXPECT_EQ(outcome("a{9"), "Unmatched \\{");
    EXPECT_EQ(outcome("(a"), "Unmatched ( or \\(");
}
