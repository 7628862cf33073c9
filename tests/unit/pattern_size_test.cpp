#include "catalogue/pattern_size.h"

#include "helpers.h"

static std::string repeat(const char *part, int count)
{
    std::string all;
    while (count-- > 0)
        all += part;
    return all;
}

TEST(pattern_size, what_the_library_takes_all_memory_or_time_for_is_too_big)
{
    /* Each of these takes less than 400 MB and half a second. */
    for (const std::string &good :
         {repeat("a+", 4095), repeat("a?", 4095), repeat("()", 4095), repeat("(^a|b$)", 500),
          repeat("^a$|", 999), std::string("a{0,4097}"), std::string("(x{64}){64}"),
          std::string("(a{2,}|[A-Z]{9}b){99}"), std::string("[]{9999}[:alpha:]{9999}*]\\{9999}"),
          std::string("([]([:digit:])*]{20}){200}"), repeat("(", 12) + "a" + repeat(")+", 12),
          repeat("\\b", 16), std::string("((a*)?)?^|(^$)?"), std::string("(.*)(.*)\\1.*\\2"),
          std::string("[\\1\\2\\3]"), std::string("a{9")})
        EXPECT_FALSE(is_too_big(good.c_str())) << good.substr(0, 40);

    for (const std::string &bad :
         {/* characters added */
          std::string("a{0,4098}"), std::string("a{4097,}"), std::string("(x{65}){64}"), repeat("a{99}", 42),
          repeat("(", 13) + "a" + repeat(")+", 13), std::string("([]([.-.])]{70}){70}"),
          std::string("a{99999999999999999999}"),
          /* something empty repeated */
          std::string("(a?|b){2}"), std::string("(a*)*"), std::string("(a|)+"), std::string("(b|(){0,9}c?)*"),
          std::string("a?+"), std::string("(.*)\\1{9}"),
          /* anchors in a row */
          repeat("^", 33), repeat("\\b", 17), repeat("(^|$)", 17), repeat("(\\<|a)", 33),
          repeat("^", 20) + "(" + repeat("$", 13) + "a)", repeat("$a?", 33),
          /* back-references */
          std::string("(.*)(.*)(.*)\\1\\2\\3"), std::string("(.{999})\\1"), repeat("a", 600) + "(b)\\1"})
        EXPECT_TRUE(is_too_big(bad.c_str())) << bad.substr(0, 40);
}
