/* The firmware, S.M.A.R.T. and keyboard menus. */
#include "console.h"

#include <sstream>

static const std::string footer = "Cursor keys to move up/down, 'h' for help, 'q' for abort, 'g' for act";
static const std::string ruler = "-+-----+--------+----------+------------------+----------+----------------";

/* The items of a firmware menu as drawn: mark and drive's letter, which is a capital under the highlight. One
 * whose attributes don't fit its mark is followed by '?'. */
static testing::AssertionResult has_items(console &c, const std::string &expected)
{
    return c.until("items " + expected, [&] {
        std::string items;
        for (int row = 3; c.text_of(row).find("| sd") == 1; ++row) {
            const std::string line = c.text_of(row);
            const color text = line[0] == '+' ? green : red;
            const look got = c.look_of(row, 79);
            const bool is_current = got == look{false, true, text};
            items += {line[0], static_cast<char>(is_current ? toupper(line[5]) : line[5])};
            if (!is_current && got != look{true, false, text}) items += '?';
        }
        return items == expected;
    });
}

TEST(firmware_menu, is_drawn_on_every_terminal)
{
    for (const terminal &t : terminals) {
        SCOPED_TRACE(t.term + std::to_string(t.cols));
        const terminal first = {24, 80, t.term, t.locale}; /* some are too small for the confirmation */
        console c({.inventory = drives("ab"), .files = {{"root/VERSION", "100%s%n"}}, .on = first});
        c.confirm();
        c.resize(t.rows, t.cols);
        EXPECT_TRUE(c.row(t.rows - 1, cut(footer, t.cols)));
        EXPECT_TRUE(c.cursor(t.rows - 1, 0));
        EXPECT_TRUE(
            c.rows(0, {centred("*** Firmware Update (Vandrel V100%s%n) ***", t.cols),
                       cut("S| Adp | Un,Drv | Vendor   | Model            | Revision | Image", t.cols),
                       cut(ruler, t.cols)}));
        if (t.rows < 10) continue;
        EXPECT_TRUE(c.rows(
            3, {cut("+| sda | 0,0    | ATA      | MODEL-A          | 0001     | new.bin", t.cols),
                cut("+| sdb | 0,1    | ATA      | MODEL-A          | 0001     | new.bin", t.cols), ""}));
        EXPECT_TRUE(c.drawn(1, plain));
        EXPECT_TRUE(c.drawn(3, {false, true, t.has_colors ? green : usual}));
        EXPECT_TRUE(c.drawn(4, {true, false, t.has_colors ? green : usual}));
    }
}

TEST(firmware_menu, moves_marks_and_scrolls)
{
    /* Nine drives on six rows; a hidden head, where the first scroll does not move the view; hidden ones in
     * between. With each: keys, and the items that they lead to. */
    static const std::string inventories[] = {drives("abcdefghi"), other_drive('a') + drives("bcdefghi"),
                                              drives("a") + other_drive('b') + drives("c") +
                                                  other_drive('d')};
    static const char *const scripts[] = {
        "k^ +A+b+c+d+e+f  jvjvj +a+b+c+d+e+F  j +b+c+d+e+f+G  vv +d+e+f+g+h+I  jv +d+e+f+g+h+I  "
        "k^k^k +D+e+f+g+h+i  k +C+d+e+f+g+h  - -c+D+e+f+g+h  --x\3\32 -c-d-e+F+g+h  ^ -c-d-E+f+g+h  "
        "+ -c-d+e+F+g+h  --- -d+e-f-g-h+I  - -d+e-f-g-h-I  k^^^^ -D+e-f-g-h-i",
        "jjjjj +b+c+d+e+f+G  j +b+c+d+e+f+G  - +c+d+e+f+g-H  kkkkk +C+d+e+f+g-h", "j +a+C  j- +a-C  k +A-c"};
    for (size_t i = 0; i < std::size(scripts); ++i) {
        console c({.inventory = inventories[i]});
        c.confirm();
        c.resize(10, 80);
        EXPECT_TRUE(c.row(9, footer));
        std::istringstream script(scripts[i]);
        for (std::string keys, items; script >> keys >> items;) {
            c.type(keys);
            EXPECT_TRUE(has_items(c, items)) << keys;
        }
    }
}

TEST(firmware_menu, follows_the_size_of_the_screen)
{
    console c({.inventory = other_drive('a') + drives("bcdefghijklm")});
    c.confirm();
    c.type("jjjjjjjjj");
    EXPECT_TRUE(has_items(c, "+b+c+d+e+f+g+h+i+j+K+l+m"));
    c.resize(8, 80);
    EXPECT_TRUE(has_items(c, "+h+i+j+K"));
    for (const auto &[rows, cols] : {std::pair(2, 300), std::pair(3, 3), std::pair(1, 80), std::pair(1, 1)}) {
        c.resize(rows, cols);
        EXPECT_TRUE(c.row(rows - 1, cut(footer, cols)));
        EXPECT_TRUE(c.rests());
    }
    c.resize(24, 80);
    EXPECT_TRUE(has_items(c, "+K+l+m"));
    c.type("-");
    EXPECT_TRUE(has_items(c, "-k+L+m"));
}

TEST(firmware_menu, leaves_with_the_choice_or_without_any)
{
    static const std::string nothing = "No drives found which need a firmware update";
    static const std::string gap(47, ' ');
    static const struct {
        std::string inventory, option, items, keys, asks, result;
    } cases[] = {
        {drives("abc"),                       "",   "+A+b+c", "g",   "3 devices", "(3 drives)"},
        {drives("abc"),                       "",   "+A+b+c", "-G",  "2 devices", "(2 drives)"},
        {drives("abc"),                       "",   "+A+b+c", "--g", "1 device",  "(1 drives)"},
        {drives("abc"),                       "",   "+A+b+c", "--Q", "1 device",  "(1 drives)"},
        {drives("abc"),                       "",   "+A+b+c", "q",   "",          "(0 drives)"}, /* only a small q */
        {drives("ab"),                        "",   "+A+b",   "--g", "",          "(0 drives)"},
        {other_drive('a') + drives("b"),      "-A", "-A+b",   "+g",  "1 device",  "(1 drives)"},
        {other_drive('a') + other_drive('b'), "-A", "-A-b",   "++g", "",          "(0 drives)"},
    };
    for (const auto &t : cases) {
        SCOPED_TRACE(t.option + t.keys);
        console c({.inventory = t.inventory, .option = t.option});
        c.confirm();
        EXPECT_TRUE(has_items(c, t.items));
        EXPECT_EQ(c.text_of(3).ends_with("| <NONE>"), t.option == "-A");
        c.type(t.keys);
        const std::string line = "Do you want to update " + t.asks + "? Please enter \"Yes\" or \"No\":";
        if (!t.asks.empty()) {
            EXPECT_TRUE(c.row(0, line));
            c.type("No thanks\n");
        }
        EXPECT_TRUE(
            c.row(2, "Download Firmware " + t.result + (t.asks.empty() ? gap + "[N/A]" : gap + " [OK]")));
        c.type("No\n");
        EXPECT_TRUE(c.ends());
        EXPECT_TRUE(c.row(0, t.asks.empty() ? nothing : line + " No thanks"));
        EXPECT_FALSE(c.has_sent("flash"));
    }
}

TEST(smart_menu, lists_failed_drives_and_lights_them_while_it_lasts)
{
    for (const std::string end : {"q", "g", "TERM", "HUP", "hang up"}) {
        SCOPED_TRACE(end);
        console c({.inventory = other_drive('a') + other_drive('b', "smart-187=1") + other_drive('c') +
                                other_drive('d', "smart-187=1"),
                   .files = {{"root/Data/SMART187", "MODEL .* - -\n"}}});
        EXPECT_TRUE(c.rows(0, {centred("*** S.M.A.R.T. Check (Vandrel Vrehearsal) ***", 80),
                               " Adp | Un,Drv | Vendor   | Model            | Revision | Serial-Number",
                               "-----+--------+----------+------------------+----------+--------------",
                               " sdb | 0,1    | ATA      | MODEL-B          | 0001     | SIM00002",
                               " sdd | 0,3    | ATA      | MODEL-B          | 0001     | SIM00004", ""}));
        EXPECT_TRUE(c.drawn(3, {false, true, usual}));
        EXPECT_TRUE(c.drawn(4, {true, false, usual}));
        c.type("jlkl\3\32"); /* both lit, and none of the other keys does anything */
        EXPECT_TRUE(c.drawn(3, {false, true, red}));
        EXPECT_TRUE(c.drawn(4, {true, false, red}));
        EXPECT_TRUE(c.until("two lights", [&] { return count_children(c.pid) == 2; }));
        c.type("l");
        EXPECT_TRUE(c.drawn(3, {false, true, usual}));
        EXPECT_TRUE(c.until("one light", [&] { return count_children(c.pid) == 1; }));
        EXPECT_TRUE(c.until("activity", [&] { return c.has_sent("sdd,0,3 ATA none 85"); }));
        if (end.size() == 1) {
            c.type(end);
            EXPECT_TRUE(c.shows("S.M.A.R.T. check (4 drives)"));
            EXPECT_TRUE(c.until("no light", [&] { return count_children(c.pid) == 0; }));
            c.type("No\n");
            EXPECT_TRUE(c.ends());
            continue;
        }
        if (end == "hang up")
            c.end_input();
        else
            c.signal(end == "TERM" ? SIGTERM : SIGHUP);
        EXPECT_TRUE(c.ends(end == "TERM" ? -SIGTERM : -SIGHUP));
    }
}

TEST(smart_menu, has_a_controller_light_its_drives)
{
    const std::string ata = ",ATA,\"MODEL-B\",0001,-,-; smart-187=1", refused = " status=lib-start-locate:";
    console c({.inventory = "0,8,10" + ata + "\n1,8,2" + ata + refused + "12\n1,8,3" + ata + refused +
                            "36\n1,8,4" + ata + refused + "0x800A\n1,8,5" + ata + refused +
                            "13\n1,8,6,SEAGATE,\"SAS\",0001,-,-; smart-187=1\n",
               .files = {{"root/Data/SMART187", "MODEL .* - -\n"}}});
    EXPECT_TRUE(c.row(3, "   1 | 8,2    | ATA      | MODEL-B          | 0001     | SIM00002"));
    EXPECT_TRUE(c.rows(7, {"   0 | 8,10   | ATA      | MODEL-B          | 0001     | SIM00001", ""}));
    EXPECT_TRUE(c.has_sent("in 27 80 b0 d0 00 4f c2 00 00 00 00 00 00 00 00 00 00 00 00 00 len=512 ok"));
    c.type("ljljljljl");
    EXPECT_TRUE(c.drawn(7, {false, true, red}));
    EXPECT_TRUE(c.has_sent("0,8,10 lib-start-locate id=01000000 device=10 size=0 ok"));
    std::string said = c.file("root/Data/Vandrel.stderr");
    EXPECT_EQ(said.substr(std::min(said.size(), said.find("StoreLib"))),
              "StoreLib::locate(): Invalid drive 10\nStoreLib::locate(): Invalid drive 11\n"
              "StoreLib::locate(): Invalid controller 16777217\n"
              "StoreLib::locate(): START LOCATE failed, error=0xd\n");
    EXPECT_EQ(count_children(c.pid), 0);
    c.type("q");
    EXPECT_TRUE(c.shows("S.M.A.R.T. check (5 drives)"));
    EXPECT_TRUE(c.has_sent("1,8,5 lib-stop-locate id=01000001 device=13 size=0 ok\n"
                           "0,8,10 lib-stop-locate id=01000000 device=10 size=0 ok\n"));
    c.type("No\n");
    EXPECT_TRUE(c.ends());
}

TEST(keyboard_menu, lists_keymaps_by_name_and_loads_one)
{
    static const std::string root = "root/lib/kbd/keymaps/i386/";
    std::map<std::string, std::string> files;
    for (const char *name : {"qwerty/us.map.gz", "qwertz/de.map.gz", "qwertz/de-latin1.map.gz",
                             "x/gr\u00fcn.map.gz", "other/us.map.gz", "us.map", ".map.gz", "dir.map.gz/file"})
        files[root + name];
    for (const bool is_utf8 : {true, false})
        for (const auto &[keys, loaded] :
             {std::pair("\r", "qwertz/de"), std::pair("vg", "qwertz/de-latin1"),
              std::pair("vv\n", "x/gr\u00fcn"), std::pair("q", ""), std::pair("G", "")}) {
            SCOPED_TRACE(keys);
            console c(
                {.inventory = drives("a"), .files = files, .on = {.locale = is_utf8 ? "C.UTF-8" : "C"}});
            EXPECT_TRUE(c.rows(0, {centred("*** Select keyboard mapping (Vandrel Vrehearsal) ***", 80),
                                   "Mapping", "----------------", "de", "de-latin1",
                                   is_utf8 ? "gr\u00fcn" : "gr??n", "us", "us", ""}));
            EXPECT_TRUE(c.drawn(3, {false, true, usual}));
            EXPECT_TRUE(c.drawn(4, {true, false, usual}));
            c.type(keys);
            EXPECT_TRUE(c.shows("WARNING!"));
            EXPECT_EQ(c.has_sent("loadkeys "), *loaded != '\0');
            EXPECT_TRUE(*loaded == '\0' || c.has_sent(root + loaded + ".map.gz\n"));
        }
}

TEST(keyboard_menu, redraws_at_once_whatever_its_length)
{
    using clock = std::chrono::steady_clock;
    constexpr int items = 10000, limit_ms = 50, screenful = 20, turns = 50;
    std::map<std::string, std::string> files;
    for (int i = 0; i < items; ++i)
        files["root/lib/kbd/keymaps/i386/" + std::to_string(items + i) + ".map.gz"];
    console c({.inventory = drives("a"), .files = files});
    EXPECT_TRUE(c.row(3, std::to_string(items)));
    int current = items;
    for (const auto &[key, step, edge] : {std::tuple("v", 1, 22), std::tuple("^", -1, 3)}) {
        for (int i = 1; i < screenful; ++i)
            c.type(key);
        EXPECT_TRUE(c.row(edge, std::to_string(current += step * (screenful - 1))));
        EXPECT_TRUE(c.drawn(edge, {false, true, usual}));
        std::vector<double> times_ms;
        for (int i = 0; i < turns; ++i) { /* each scrolls by one */
            const auto start = clock::now();
            c.type(key);
            EXPECT_TRUE(c.row(edge, std::to_string(current += step)));
            times_ms.push_back(std::chrono::duration<double, std::milli>(clock::now() - start).count());
        }
        std::sort(times_ms.begin(), times_ms.end());
        EXPECT_LT(times_ms[turns / 2], limit_ms);
        std::cout << "key to redrawn screen: median " << times_ms[turns / 2] << " ms, longest "
                  << times_ms.back() << " ms\n";
    }
}
