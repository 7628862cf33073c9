/* vandrel-rehearse.cpp - runs the real program on a simulated machine. */
#include "rehearsal/drive/drive_state.h"
#include "rehearsal/inventory/inventory.h"
#include "rehearsal/kernel/sysfs_tree.h"
#include "rehearsal/launch/launch.h"
#include "rehearsal/launch/root_tree.h"
#include "rehearsal/launch/vandrel_arguments.h"
#include "rehearsal/machine/machine.h"
#include "rehearsal/text/files.h"
#include "rehearsal/tools/flash_tools.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <getopt.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace rehearsal;

constexpr int failed_to_rehearse = 2;
constexpr std::string_view sysfs = "sysfs"; /* what --without also knows */

constexpr char help_text[] =
    "usage: vandrel-rehearse [--dir DIR] [--power-cycle] [--without NAME] INVENTORY [vandrel options]\n"
    "Runs vandrel on a simulated machine with the drives of INVENTORY, in which a line is\n"
    "one of \"vandrel --list\" and may be followed by name=value words.\n"
    "    --dir DIR: rehearse in DIR and keep it; again in the same DIR, the machine goes on as it was\n"
    "    --power-cycle: the drives have been off since the last rehearsal in DIR\n"
    "    --without NAME: a flashing tool that is missing, sysfs for a kernel without SCSI, or\n"
    "        storelib for a system without the controllers' library\n"
    "Among vandrel's options, -R DIR names the tree whose data files are used; it is not written to.\n";

namespace
{
struct settings {
    std::string dir; /* absolute; empty: a temporary one */
    bool has_power_cycle = false;
    std::vector<std::string> without;
    std::string inventory_path;
    vandrel_arguments vandrel;
};
} // namespace

static int complain(const std::string &what)
{
    fprintf(stderr, "vandrel-rehearse: %s\n", what.c_str());
    return failed_to_rehearse;
}

static std::string system_error(const std::string &path)
{
    return path + ": " + strerror(errno);
}

static std::string absolute(const std::string &path)
{
    std::error_code error;
    return fs::weakly_canonical(fs::absolute(path, error), error).string();
}

/* Returns -1 to go on, else the exit status. */
static int parse_command_line(int argc, char **argv, settings &set)
{
    enum { opt_dir = 1, opt_power_cycle, opt_without };
    static const option long_options[] = {
        {"dir",         required_argument, nullptr, opt_dir        },
        {"power-cycle", no_argument,       nullptr, opt_power_cycle},
        {"without",     required_argument, nullptr, opt_without    },
        {"help",        no_argument,       nullptr, 'h'            },
        {nullptr,       0,                 nullptr, 0              },
    };
    for (int c = 0; (c = getopt_long(argc, argv, "+h", long_options, nullptr)) != -1;) {
        if (c == opt_dir)
            set.dir = absolute(optarg);
        else if (c == opt_power_cycle)
            set.has_power_cycle = true;
        else if (c == opt_without)
            set.without.emplace_back(optarg);
        else {
            fputs(help_text, c == 'h' ? stdout : stderr);
            return c == 'h' ? EXIT_SUCCESS : failed_to_rehearse;
        }
    }
    if (optind == argc) return complain("which inventory? (--help tells more)");
    set.inventory_path = argv[optind];
    set.vandrel = split_arguments({argv + optind, argv + argc}, absolute("."));
    return -1;
}

/* A tool can only be missing where no real one comes after the stand-in: that one would work on real drives.
 */
static std::string check_without(const settings &set)
{
    const char *const search_path = getenv("PATH");
    for (const std::string &name : set.without) {
        const auto tools = stand_in_tools();
        if (name == sysfs || name == no_libraries) continue;
        if (std::none_of(tools.begin(), tools.end(), [&](const tool &t) { return name == t.name; }))
            return name + ": nothing that a machine can be without";
        std::string_view path = !search_path ? "" : search_path;
        while (!path.empty()) {
            const std::string dir(path.substr(0, path.find(':')));
            path.remove_prefix(std::min(path.size(), dir.size() + 1));
            const std::string real = (dir.empty() ? "." : dir) + "/" + name;
            if (access(real.c_str(), X_OK) == 0)
                return real + " is there, so its absence cannot be rehearsed";
        }
    }
    return {};
}

static std::string read_inventory(const settings &set, machine &m, std::string &text)
{
    if (!read_file(set.inventory_path, text)) return system_error(set.inventory_path);
    inventory parsed = parse_inventory(text);
    std::string errors;
    for (const std::string &error : parsed.errors)
        errors += (errors.empty() ? "" : "\nvandrel-rehearse: ") + set.inventory_path + ":" + error;
    m.drives = std::move(parsed.drives);
    return errors;
}

/* Makes the directory, or takes one that is empty or has seen a rehearsal: no other one is overwritten. */
static std::string prepare_dir(const settings &set, machine &m)
{
    if (set.dir.empty()) {
        const char *const tmp = getenv("TMPDIR");
        std::string name = absolute(tmp && *tmp != '\0' ? tmp : "/tmp") + "/vandrel-rehearsal.XXXXXX";
        if (mkdtemp(name.data()) == nullptr) return system_error(name);
        m.dir = name;
    } else {
        m.dir = set.dir;
        std::error_code error;
        fs::create_directories(m.dir, error);
        if (error) return m.dir + ": " + error.message();
        if (!fs::is_empty(m.dir, error) && !fs::exists(m.inventory_path(), error))
            return m.dir + ": neither empty nor the directory of an earlier rehearsal";
    }
    for (const char *name : {"/state", "/tmp", "/run"}) {
        std::error_code error;
        fs::create_directory(m.dir + name, error);
        if (error) return m.dir + name + ": " + error.message();
    }
    return {};
}

static std::string cycle_power(const machine &m)
{
    for (const drive_profile &profile : m.drives) {
        drive_state state = read_state(m, profile);
        power_cycle(profile, state);
        if (!write_state(m, profile, state)) return system_error(m.state_dir());
    }
    return {};
}

static std::string build_machine(const settings &set, const machine &m, const std::string &inventory_text,
                                 const parts &found)
{
    if (!write_file(m.inventory_path(), inventory_text)) return system_error(m.inventory_path());
    if (set.has_power_cycle)
        if (std::string failed = cycle_power(m); !failed.empty()) return failed;
    const bool is_without_scsi =
        std::find(set.without.begin(), set.without.end(), sysfs) != set.without.end();
    if (std::string failed = build_sysfs(m, is_without_scsi); !failed.empty()) return failed;
    root_request root{"", found.stand_in, found.shipped_tool, found.storelib, found.preload, set.without};
    if (!set.vandrel.given_root.empty()) {
        root.given = absolute(set.vandrel.given_root);
        if (!fs::is_directory(root.given)) return set.vandrel.given_root + ": no directory";
    }
    return prepare_root(m, root);
}

static void set_environment(const machine &m, const parts &found)
{
    const char *const others = getenv("LD_PRELOAD");
    std::string preload = found.preload;
    if (others && *others != '\0') preload += std::string(":") + others;
    setenv("LD_PRELOAD", preload.c_str(), 1);
    setenv(dir_variable, m.dir.c_str(), 1);
}

/* Of a directory that is about to go, the last that the program said. */
static void show_diagnostics(const machine &m)
{
    constexpr int max_lines = 10;
    std::string said;
    if (!read_file(m.root_dir() + "/Data/Vandrel.stderr", said) || said.empty()) return;
    size_t start = said.size() - 1;
    for (int lines = 0; lines < max_lines && start != std::string::npos; ++lines)
        start = start == 0 ? std::string::npos : said.rfind('\n', start - 1);
    fprintf(stderr, "vandrel-rehearse: the last of Data/Vandrel.stderr:\n%s",
            said.c_str() + (start == std::string::npos ? 0 : start + 1));
}

static void remove_dir(const machine &m)
{
    std::error_code error;
    fs::remove_all(m.dir, error);
    if (error) complain(m.dir + " could not be removed: " + error.message());
}

int main(int argc, char **argv)
{
    settings set;
    if (const int status = parse_command_line(argc, argv, set); status != -1) return status;
    machine m;
    parts found;
    std::string inventory_text;
    for (const std::string &failed :
         {check_without(set), find_parts(found), read_inventory(set, m, inventory_text)})
        if (!failed.empty()) return complain(failed);
    if (const std::string failed = prepare_dir(set, m); !failed.empty()) return complain(failed);

    const bool is_temporary = set.dir.empty();
    if (const std::string failed = build_machine(set, m, inventory_text, found); !failed.empty()) {
        if (is_temporary) remove_dir(m);
        return complain(failed);
    }
    std::vector<std::string> args = {found.vandrel, "-R", m.root_dir()};
    args.insert(args.end(), set.vandrel.kept.begin(), set.vandrel.kept.end());
    set_environment(m, found);
    if (!is_temporary) {
        exec_program(args);
        return complain(system_error(found.vandrel));
    }
    const int status = run_program(args);
    show_diagnostics(m);
    remove_dir(m);
    end_like(status);
}
