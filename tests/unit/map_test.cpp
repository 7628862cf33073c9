#include "catalogue/map.h"

#include "helpers.h"

#include <cerrno>

TEST(map, escapes_become_classes)
{
    const std::string pattern = "ST3.*\\w\\W\\s\\S\\d+\\D\\.\\x\\\\.\\\\a\\";
    EXPECT_EQ(perl2regex(pattern.data(), &pattern.back()),
              "ST3.*[[:alnum:]][![:alnum:]][[:space:]][![:space:]][[:digit:]]+[![:digit:]].x\\.\\a\\");
    EXPECT_EQ(perl2regex("\\d", "\\d" - 1), "");
}

/* What a map of this content makes of its lines: the messages, the entries, the count of errors. */
static std::string load(const std::string &content, int (*check)(const char *) = nullptr)
{
    temp_dir dir;
    const std::string path = dir.write("Map.txt", content);
    GList *list = nullptr;
    int errors = 4; /* added to, never reset */
    std::string result = written_to(stderr, [&] { list = loadMap(path.c_str(), &errors, dir.root, check); });
    for (const GList *node = list; node; node = node->next) {
        const auto *entry = static_cast<const Map *>(node->payload);
        EXPECT_TRUE(entry->pathname.starts_with(dir.root + "//Data/")) << entry->pathname;
        result += "[" + entry->model_pattern_s + "|" + entry->prev_rev_s + "|" + entry->new_rev_s + "|" +
                  entry->pathname.substr(dir.root.size() + 7) + "]";
    }
    g_list_free_full(list, free_one_map);
    return result + " " + std::to_string(errors - 4);
}

static void expect_all(const char *want, std::initializer_list<const char *> contents)
{
    for (const char *content : contents)
        EXPECT_EQ(load(content), want) << content;
}

TEST(map, lines_to_entries_and_messages)
{
    expect_all("[m|r|n|i] 0", {"m r n i trailing words\n", " \tm\t \tr n i", "m r n i\r\n", "m r n 'i'x",
                               "m \"r\"n\"i\""}); /* a closing quote opens the next field */
    expect_all("[m 1|r|n|d/i][m2|r|n|i] 0",
               {"'m 1'r'n'd/i' x\nm2 r n i\n", "\"m 1\"r\"n\"d/i\"\n\n#\nm2 r n i"});
    expect_all("[[[:digit:]]+|\\.|\\d|\\d] 0", {"\\d+ \\\\. \\d \\d\n"});
    expect_all("[|||] 0", {"\"\"\"\"\"\n"});
    expect_all(" 0", {"\n\r\n \t \n \t# m r n i\n#\n", ""});
    expect_all("Bad pattern in line 1\n 1", {"m\n", "\"m r n i\n", "m r\n", "m 'r n i\n", "\"m\" r n i\n"});
    expect_all("Bad revision in line 1\n 1", {"m r n\n", "m r 'n i\n", "\"m\"r\" n i\n"});
    expect_all("Bad pathname in line 1\n 1", {"m r n 'i\n", "\"m\" r\" n i\" x\n"});
    expect_all("Misformed line 1\n 1", {"m \n", "m r \t\n", "m r n \r\n"});
    expect_all("Error in pattern line 2: Unmatched ( or \\(\n[m|r|n|i] 1",
               {"\n(m r n i\nm r n i\n", "\nm ( n i\nm r n i\n"});

    expect_all("Error in pattern line 1: Regular expression too big\n 1",
               {"(x{70}){70} r n i\n", "m (x{70}){70} n i\n"});
    expect_all("[a|a|n|i][a|b|n|j] 0", {"a a n i\na b n j\n"});

    /* Longer than the buffer: the rest counts as a line, and so do the numbers behind it. */
    const std::string image(8185, 'i');
    EXPECT_EQ(load("m r n " + image + " junk\n(\n"),
              "Bad pattern in line 2\nBad pattern in line 3\n[m|r|n|" + image + "] 2");
    EXPECT_EQ(load(std::string("m r n i\0 x\n\0\nm2 r n i\n", 22)), "[m|r|n|i][m2|r|n|i] 0");
}

TEST(map, images_may_be_checked_and_files_missing)
{
    static std::string checked;
    const auto is_good = [](const char *path) {
        checked = path;
        errno = EACCES;
        return static_cast<int>(checked.ends_with("good"));
    };
    const std::string said =
        load("(m r n a/bad\nm r n good\n", is_good); /* before the patterns are looked at */
    EXPECT_EQ(said, checked.substr(0, checked.size() - 4) + "a/bad: Permission denied\n[m|r|n|good] 1");

    int errors = 4;
    EXPECT_EQ(written_to(stderr, [&] { EXPECT_EQ(loadMap("/no/Map", &errors, {}, nullptr), nullptr); }),
              "/no/Map: No such file or directory\n");
    EXPECT_EQ(errors, 5);
    /* What can't be read to its end may lack lines. */
    EXPECT_EQ(
        written_to(stderr, [&] { EXPECT_EQ(loadMap("/proc/self/mem", &errors, {}, nullptr), nullptr); }),
        "/proc/self/mem: Input/output error\n");
    EXPECT_EQ(errors, 6);
}
