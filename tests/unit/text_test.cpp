#include "base/text.h"

#include "helpers.h"

TEST(text, next_token_cuts_at_the_delimiter_and_at_the_room)
{
    static const struct {
        const char *s;
        size_t avail;
        const char *token;
        const char *rest; /* null: none, and the room untouched */
    } cases[] = {
        {"a:b",    16, "a",    "b"    },
        {"abc",    16, "abc",  ""     },
        {":b",     16, "",     "b"    },
        {"a::b",   16, "a",    ":b"   },
        {"abcd",   5,  "abcd", ""     },
        {"abcd:e", 4,  "abc",  "e"    }, /* cut, and its rest is no token of its own */
        {"",       16, "#",    nullptr},
        {nullptr,  16, "#",    nullptr},
    };
    for (const auto &c : cases) {
        char dst[18] = "#";
        dst[c.avail] = '#';
        EXPECT_STREQ(next_token(c.s, ':', dst, c.avail), c.rest);
        EXPECT_STREQ(dst, c.token);
        EXPECT_EQ(dst[c.avail], '#');
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
