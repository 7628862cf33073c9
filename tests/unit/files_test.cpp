#include "base/files.h"

#include "base/settings.h"
#include "helpers.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

TEST(files, what_stands_in_the_way_is_replaced_and_never_followed)
{
    for (const bool appends : {true, false}) {
        temp_dir dir;
        const std::string target = dir.write("target", "kept");
        fs::create_hard_link(target, dir.path("second name"));
        fs::create_symlink(target, dir.path("link"));
        fs::create_symlink(dir.path("nowhere"), dir.path("dangling"));
        ASSERT_EQ(mkfifo(dir.path("fifo").c_str(), 0600), 0);
        fs::create_directory(dir.path("directory"));
        fs::create_directories(dir.path("kept/file~/too"));
        fs::create_directory(dir.path("kept/file"));
        dir.write("plain", "earlier");
        static const struct {
            const char *name;
            int error; /* 0: opened */
        } cases[] = {
            {"new",         0        },
            {"plain",       0        },
            {"second name", 0        },
            {"fifo",        0        }, /* without a reader: it must not wait for one */
            {"link",        0        },
            {"dangling",    0        },
            {"directory",   0        },
            {"kept/file",   ENOTEMPTY}, /* where not even that can be taken away */
            {"no/file",     ENOENT   },
        };
        for (const auto &c : cases) {
            SCOPED_TRACE(c.name);
            const std::string path = dir.path(c.name);
            errno = 0;
            file_ptr f = appends ? append_file(path.c_str()) : create_file(path.c_str());
            EXPECT_EQ(f ? 0 : errno, c.error);
            if (!f) continue;
            EXPECT_EQ(fcntl(fileno(f.get()), F_GETFD), FD_CLOEXEC);
            fputs("new", f.get());
            f.reset();
            const bool is_kept = appends && strcmp(c.name, "plain") == 0;
            EXPECT_EQ(content_of(path), is_kept ? "earliernew" : "new");
        }
        EXPECT_EQ(content_of(target), "kept");
        EXPECT_FALSE(fs::exists(dir.path("nowhere")));
    }
}

TEST(files, what_does_not_reach_the_disk_is_reported)
{
    for (const bool early : {false, true}) {
        file_ptr full(fopen("/dev/full", "w"));
        fputs("text", full.get());
        if (early) fflush(full.get());
        EXPECT_EQ(written_to(stderr, [&full] { close_written(std::move(full), "log"); }),
                  early ? "log: incomplete\n" : "log: No space left on device\n");
    }
    close_written(nullptr, "log");
}

TEST(files, the_first_directory_wins_then_the_earlier_name)
{
    temp_dir dir;
    fs::current_path(dir.root);
    for (const char *tool : {"first", "one/second", "two/first", "two/second"})
        fs::permissions(dir.write(tool, ""), fs::perms::owner_all);
    dir.write("plain/first", "");
    static const char *const names[] = {"first", "second", nullptr};
    const char *path = getenv("PATH");
    const std::string before = path ? path : "";
    const auto found_in = [](const std::string &path) {
        setenv("PATH", path.c_str(), 1);
        int index = 0;
        const std::string trace = written_to(stderr, [&index] { index = check_executable(names); });
        return std::to_string(index) + " " + trace;
    };
    const set_for_now level(verbose, 1);
    const std::string none = "No sutable executable found, returning -1\n";
    EXPECT_EQ(found_in("one:two"),
              "1 Checking \"one/first\"\nChecking \"one/second\"\n--> is executable, returning 1\n");
    EXPECT_EQ(found_in("two:one"), "0 Checking \"two/first\"\n--> is executable, returning 0\n");
    EXPECT_EQ(found_in(":one"), "0 Checking \"./first\"\n--> is executable, returning 0\n");
    EXPECT_EQ(found_in("plain:"), "-1 Checking \"plain/first\"\nChecking \"plain/second\"\n" + none);
    for (const size_t len : {4090, 4093, 4095, 9000}) /* room for no name: none is tried cut */
        EXPECT_EQ(found_in(std::string(len, 'x')), "-1 " + none);
    setenv("PATH", before.c_str(), 1);
    fs::current_path("/");
}
