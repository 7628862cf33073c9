#include "catalogue/vendor.h"

#include "helpers.h"

/* What a table of this content makes of its lines: the messages and the rows. */
static std::string load(const std::string &content, GList **rows)
{
    temp_dir dir;
    const std::string path = dir.write("vendor.csv", content);
    std::string result = written_to(stderr, [&] { *rows = load_vendormap(path.c_str()); });
    for (const GList *node = *rows; node; node = node->next) {
        const auto *row = static_cast<const vendor *>(node->payload);
        result += "[" + row->name + "]" + std::to_string(row->wb_mode);
    }
    return result;
}

/* Each line as the second of a table. */
static void expect_all(const char *want, std::initializer_list<std::string> lines)
{
    GList *rows;
    for (const std::string &line : lines) {
        EXPECT_EQ(load("\n" + line, &rows), want) << line;
        g_list_free_full(rows, free_one_vendor);
    }
}

TEST(vendor, lines_to_rows_and_messages)
{
    expect_all("[A]7", {"A,7\n", " \tA, 7x", "\"A\",0x7,8\n", "A,07"});
    expect_all("[A \"B, C]14", {"\"A \"\"B, C\",0xE\n"});
    expect_all("[A ]8", {"A ,010\n"});
    expect_all("Error in vendor table, line 2: non-separator follows quoted field\n",
               {"\"A\" ,1\n", "\"A\"1\n"});
    expect_all("Error in vendor table, line 2: failed to pick up number\n", {"A,x\n", "A,\n", "A,"});
    expect_all("", {"# c,1\n", "   # c,1\n", " \t\r\n", ",5\n", "A 7\n", "\"A,7\n", "\"A\"", "\"A\"\n",
                    "\"A\"\r\n", std::string("A\0,7\n", 5)});
}

TEST(vendor, rows_are_sorted_and_the_first_of_a_name_is_found)
{
    GList *rows;
    EXPECT_EQ(load("b,2\nB,1\nb,3\na,4\n", &rows), "[B]1[a]4[b]2[b]3");
    const set_for_now table(vendormap, rows);
    unsigned mode = 99;
    const auto found = [&mode](const char *name, char interface) {
        const Dev dev = {.interface = interface, .vendor = name};
        return get_wb_mode(&dev, &mode);
    };
    EXPECT_EQ(found("b", interface_ata), 0);
    EXPECT_EQ(found("b ", interface_scsi), 0);
    EXPECT_EQ(mode, 99U);
    EXPECT_EQ(found("b", interface_scsi), 1);
    EXPECT_EQ(mode, 2U);
    vendormap = nullptr;
    EXPECT_EQ(found("b", interface_scsi), 0);
    EXPECT_EQ(load_vendormap("/no/vendor.csv"), nullptr);
    g_list_free_full(rows, free_one_vendor);
}
