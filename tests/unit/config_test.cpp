#include "core/config.h"

#include "helpers.h"

TEST(config, pairs_in_file_order_and_the_first_of_exactly_this_name)
{
    temp_dir dir;
    dir.write(
        "Data/Config.txt",
        "# x = 1\n  # y = 1\n1x = 1\na-b = 1\nx\n \t\n=\nTargets=no\ntargets \t=\t first \r\ntargets=second\n"
        "x = \"a b\" # note\nx =\nx = a = b\n  keymap = x\n\tab=cde\n" /* indented: shifted, sets no key */
        "long=" +
            std::string(9000, 'v') + "=x\n" + std::string("a=b\0c\nlast=1", 12));
    const std::optional<config_pairs> config = load_config_file(dir.root, "Config.txt");
    ASSERT_TRUE(config);
    std::string pairs;
    for (const config_pair &pair : *config)
        pairs += pair.name.substr(0, 9) + "=" + pair.value.substr(0, 9) + "|";
    /* The line longer than the buffer comes as two, each matched on its own. */
    EXPECT_EQ(pairs, "Targets=no|targets=first|targets=second|x=\"a b\" # n|x=|x=a = b|  keym==|\ta==cd|"
                     "long=vvvvvvvvv|vvvvvvvvv=x|a=b|last=1|");
    EXPECT_EQ(config->at(8).value.size(), 8191U - 5);
    EXPECT_STREQ(lookup_config(config, "targets"), "first");
    EXPECT_EQ(lookup_config(config, "target"), nullptr);
    EXPECT_FALSE(load_config_file(dir.root, "Missing.txt"));
}
