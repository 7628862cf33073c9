#include "base/text.h"

#include "helpers.h"

TEST(text, next_token_cuts_at_the_delimiter_and_at_the_room)
{
    static const struct {
        const char *s, *token, *rest; /* rest null: none, and the room untouched */
    } cases[] = {
        {"a:b",    "a",    "b"    },
        {":b",     "",     "b"    },
        {"a::b",   "a",    ":b"   },
        {"abcd",   "abcd", ""     },
        {"abcde",  "abcd", ""     },
        {"abcde:", "abcd", ""     }, /* cut, and its rest is no token of its own */
        {"",       "#",    nullptr},
        {nullptr,  "#",    nullptr},
    };
    for (const auto &c : cases) {
        char dst[] = "#####!";
        dst[1] = '\0';
        EXPECT_STREQ(next_token(c.s, ':', dst, 5), c.rest);
        EXPECT_STREQ(dst, c.token);
        EXPECT_EQ(dst[5], '!');
    }
}

TEST(text, white_space_goes_from_the_ends_only)
{
    for (const auto &[s, without] : {
             std::pair{" \t\r\n\v\f", ""       },
             {" a b ",       "a b"    },
             {"a\t\x80\n",   "a\t\x80"}
    }) {
        std::string stripped = s;
        stripblanks(stripped);
        EXPECT_EQ(stripped, without);
    }
    EXPECT_EQ(stripcr(" a b \tc") + stripcr("a\x80") + stripcr("\n"), " a b a"); /* up to what has no shape */
}
