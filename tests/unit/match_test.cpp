#include "catalogue/match.h"

#include "base/settings.h"
#include "catalogue/map.h"
#include "device/dev.h"
#include "helpers.h"

TEST(match, the_last_line_that_matches_decides)
{
    static const char *const cases[][5] = {
  /* map                                  model       rev    revision and image  the same, forced */
        {"ST.* .* R1 a\nST3000.* .* R2 b\n", "ST3000DM", "R0",  "R2 b", "R2 b"},
        {"ST3000.* .* R2 b\nST.* .* R1 a\n", "ST3000DM", "R0",  "R1 a", "R1 a"},
        {"ST.* .* R1 a\nST3000.* .* R2 b\n", "ST4000",   "R0",  "R1 a", "R1 a"},
        {"ST .* R1 a\nST .* R2 b\n",         "ST4000",   "R2",  "R1 a", "R2 b"},
        {"T4 0 R1 a\n",                      "ST4000",   "R1",  "",     ""    },
        {"T4 1 R1 a\n",                      "ST4000",   "R1",  "",     "R1 a"}, /* up to date */
        {"T4 1 R1 a\n",                      "ST4000",   "R1 ", "R1 a", "R1 a"},
        {"st .* R1 a\n",                     "ST4000",   "R0",  "",     ""    },
        {"^T .* R1 a\n",                     "ST4000",   "R0",  "",     ""    },
    };
    for (const auto &[lines, model, rev, unforced, forced] : cases) {
        SCOPED_TRACE(std::string(lines) + model + " " + rev);
        temp_dir dir;
        int errors = 0;
        GList *map = loadMap(dir.write("Map.txt", lines).c_str(), &errors, {}, nullptr);
        for (const int force : {0, 1}) {
            const set_for_now setting(force_FW_update, force);
            const std::string want = force ? forced : unforced;
            Dev dev = {
                .model = model, .rev = rev, .target_rev = "old", .selected = want.empty(), .image = "old"};
            find_image(&dev, map);
            EXPECT_EQ(dev.selected, want.empty() ? 0 : 1);
            EXPECT_EQ(dev.image ? *dev.target_rev + " " + std::string(dev.image).substr(7) : "", want);
            EXPECT_TRUE(!want.empty() || dev.target_rev == "old"); /* an earlier pass's stays */
            find_image(&dev, nullptr);
            EXPECT_TRUE(!dev.image && !dev.selected);
        }
        Dev anonymous = {};
        find_image(&anonymous, map);
        EXPECT_EQ(anonymous.image, nullptr);
        g_list_free_full(map, free_one_map);
    }
}

TEST(match, nothing_that_a_pattern_matches_is_passed_over)
{
    static const char *const starts[][2] = {
  /* pattern      plain start */
        {"^ST4000NM$",  "ST4000NM"},
        {"^WD C-_/9.x", "WD C-_/9"},
        {"^AB+C",       "A"       }, /* and not AB: the next ones may be missing */
        {"^AB*C",       "A"       },
        {"^AB?C",       "A"       },
        {"^AB{0,2}C",   "A"       },
        {"^A[B]",       "A"       },
        {"^A(B)",       "A"       },
        {"^A\\1",       "A"       },
        {"^*A",         ""        },
        {"^A*",         ""        },
        {"^",           ""        },
        {"",            ""        },
        {"ABC.",        "ABC"     },
        {"^A|B",        ""        },
        {"A*",          ""        },
        {"^(A|B)",      ""        },
    };
    for (const auto &[pattern, start] : starts)
        EXPECT_EQ(find_prefilter(pattern).plain, start) << pattern;
}
