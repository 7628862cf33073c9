#include "core/config.h"

#include "helpers.h"

TEST(config, lines_to_pairs)
{
    static const char *const cases[][3] = {
        {"verbose=yes",            "verbose", "yes"           },
        {"verbose \t=\t yes \r\n", "verbose", "yes"           },
        {"x = \"a b\" # note",     "x",       "\"a b\" # note"},
        {"x =",                    "x",       ""              },
        {"x = a = b",              "x",       "a = b"         },
        {"  keymap = x",           "  keym",  "="             }, /* shifted: an indented entry sets no key */
        {"\tab=cde",               "\ta",     "=cd"           },
    };
    for (const auto &[line, name, value] : cases) {
        temp_dir dir;
        dir.write("Data/Config.txt", line);
        const std::optional<config_pairs> config = load_config_file(dir.root, "Config.txt");
        ASSERT_TRUE(config && config->size() == 1) << line;
        EXPECT_EQ(config->front().name, name);
        EXPECT_EQ(config->front().value, value);
    }
}

TEST(config, lookup_takes_the_first_pair_of_exactly_this_name)
{
    temp_dir dir;
    dir.write("Data/Config.txt",
              "# x = 1\n  # y = 1\n1x = 1\na-b = 1\nx\n \t\n=\nTargets=no\ntargets=first\n" +
                  ("targets=second\nlong=" + std::string(9000, 'v')) + "=x\n" +
                  std::string("a=b\0c\nlast=1\n", 13));
    const std::optional<config_pairs> config = load_config_file(dir.root, "Config.txt");
    std::string names;
    for (const config_pair &pair : *config)
        names += pair.name.substr(0, 9) + "=" + pair.value.substr(0, 9) + " ";
    /* The line longer than the buffer comes as two, each matched on its own. */
    EXPECT_EQ(names, "Targets=no targets=first targets=second long=vvvvvvvvv vvvvvvvvv=x a=b last=1 ");
    EXPECT_EQ(config->at(3).value.size(), 8191U - 5);
    EXPECT_STREQ(lookup_config(config, "targets"), "first");
    EXPECT_EQ(lookup_config(config, "target"), nullptr);
    EXPECT_FALSE(load_config_file(dir.root, "Missing.txt"));
}
