#include "base/pattern.h"

#include "helpers.h"

using namespace std::string_literals;

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

TEST(pattern, those_that_would_take_all_memory_or_time_are_refused)
{
    /* Each of the accepted ones takes less than 400 MB and half a second. */
    for (const std::string &good :
         {repeat("a+", 4095), repeat("a?", 4095), repeat("a|", 4095), repeat("()", 4095), "a{0,6000}"s,
          ".{0,255}"s, "([A-Z]{4}|[0-9]{0,9}x){20}"s, "( ?[A-Z]?){0,20}"s, "(^|[ -])*(a*)*$"s,
          "(^|a)?(^|b)?(^|c)?(d*)*"s, repeat("[]{9999}[:alpha:]{9999}]", 40), repeat("\\{9999}", 40),
          "(.*)(.*)\\1.*\\2"s, "[\\1\\2\\3]"s})
        EXPECT_EQ(outcome(good), "") << good.substr(0, 40);

    for (const std::string &bad :
         {/* states */
          "a{0,9000}"s, "a{13000,}"s, "(a{0,100}){0,100}"s, repeat("(", 5) + "a" + repeat("{9})", 5),
          "((a{200}){200}"s, repeat("(", 17) + "a" + repeat(")+", 17), "[]a]{13000}"s, "[[:alpha:][]{13000}"s,
          "([[:alpha:]]{130}){100}"s, "a{99999999999999999999}"s,
          /* ways through what can be empty, and anchors among it: the library would be busy for hours */
          "(a?|b?|c?){30,}"s, repeat("(a?|b?)", 30) + "(c*)*", "(){1629}(a?)*"s, "((a?){0,9}){0,9}(b*)*"s,
          "a?++++++++++++"s, "(^|$|\\<|\\>|\\`)*"s, "((b*|){0,7}\\b)*a"s, "(|[[:alpha:]]*^|\\<$){0,160}"s,
          /* back-references */
          "a(.|.a)*\\1*"s, "(.)\\1{9}"s, "(.*)(.*)(.*)\\1\\2\\3"s, "(.{999})\\1"s})
        EXPECT_EQ(outcome(bad), "Regular expression too big") << bad;
    EXPECT_EQ(outcome("a{9"), "Unmatched \\{");
    EXPECT_EQ(outcome("(a"), "Unmatched ( or \\(");
}
