#include "rehearsal/tools/flash_tools.h"

#include "rehearsal/drive/drive_state.h"
#include "rehearsal/text/files.h"
#include "rehearsal/text/text.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace rehearsal
{

namespace
{
/* Exit statuses of a stand-in that is called wrongly; a fault of the inventory has its own. */
enum { bad_arguments = 2, no_such_drive = 3, bad_image = 4, no_state = 5 };
} // namespace

constexpr uint64_t usual_failure = 1;

static int complain(const char *name, int status, const std::string &what)
{
    fprintf(stderr, "%s: %s\n", name, what.c_str());
    return status;
}

/* The word of a file's name before its ending, for images that do not say themselves what they hold:
 * "SN06" of "model-SN06.lod". */
static std::string revision_in_name(std::string_view path)
{
    path.remove_prefix(path.rfind('/') + 1);
    const size_t ending = path.rfind('.');
    if (ending != std::string_view::npos && ending > 0) path = path.substr(0, ending);
    const size_t separator = path.find_last_of("-_. ");
    return std::string(separator == std::string_view::npos ? path : path.substr(separator + 1));
}

/* What a drive runs once it has taken this image; nothing with errno set when the image cannot be read. */
static std::optional<std::string> revision_in_image(const std::string &path)
{
    static constexpr std::string_view key = "revision=";
    std::string content;
    if (!read_file(path, content)) return std::nullopt;
    std::string_view rest = content;
    std::string_view line = cut_word(rest, '\n');
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.starts_with(key)) return std::string(line.substr(key.size()));
    return revision_in_name(path);
}

static void make_noise(uint64_t bytes)
{
    constexpr char line[] = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcde\n";
    constexpr uint64_t line_len = sizeof line - 1;
    for (uint64_t left = bytes; left > 0; left -= left < line_len ? left : line_len)
        fwrite(line, 1, left < line_len ? left : line_len, stdout);
    fflush(stdout);
}

static void rest(double seconds)
{
    timespec t{};
    t.tv_sec = static_cast<time_t>(seconds);
    t.tv_nsec = static_cast<long>((seconds - static_cast<double>(t.tv_sec)) * 1e9);
    if (seconds > 0) nanosleep(&t, nullptr);
}

namespace
{
/* How this attempt fails, as the inventory has it; 0 and 0 when it succeeds. */
struct failure {
    int status;
    int signal;
};
} // namespace

static failure failure_of(const drive_profile &profile, uint64_t attempt)
{
    const bool has_way_to_fail = profile.flash_exit != 0 || profile.flash_signal != 0;
    const bool fails = profile.flash_fails ? attempt <= *profile.flash_fails : has_way_to_fail;
    if (!fails) return {0, 0};
    if (profile.flash_signal != 0) return {0, static_cast<int>(profile.flash_signal)};
    return {static_cast<int>(profile.flash_exit != 0 ? profile.flash_exit : usual_failure), 0};
}

/* The image as the log names it: below the rehearsal's tree, whose own place differs from run to run. */
static std::string image_for_log(const machine &m, const std::string &image)
{
    return image.starts_with(m.root_dir()) ? image.substr(m.root_dir().size()) : image;
}

/* Whoever started the tool may have it ignore the signal. */
static void die_of(int number)
{
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    signal(number, SIG_DFL);
    raise(number);
}

/* How many open descriptors of this process lead to drives; a program must not hand its own on. */
static size_t inherited_nodes(const machine &m)
{
    std::error_code error;
    size_t count = 0;
    for (fs::directory_iterator i("/proc/self/fd", error), end; !error && i != end; i.increment(error)) {
        std::error_code ignored; /* the iterator's own descriptor may be gone */
        count += fs::read_symlink(i->path(), ignored).parent_path() == m.dev_dir();
    }
    return count;
}

/* Has the drive take another firmware; commands may have come since its state was read. */
static bool change_revision(const machine &m, const drive_profile &profile, const std::string &revision)
{
    drive_state state = read_state(m, profile);
    take_firmware(profile, state, revision);
    return write_state(m, profile, state);
}

/* One attempt of any flashing tool on a drive: takes its time, makes its noise, then fails or changes the
 * revision. The log gets to see `mode`, how the tool was told to send the image. */
static int flash(const machine &m, const drive_profile &profile, const char *name, const std::string &image,
                 const std::string &mode = "")
{
    drive_state state = read_state(m, profile);
    ++state.flash_attempts;
    std::string what = format_text("flash %s %s %sattempt=%llu ", name, image_for_log(m, image).c_str(),
                                   mode.c_str(), static_cast<unsigned long long>(state.flash_attempts));
    if (const size_t count = inherited_nodes(m)) what += format_text("inherited=%zu ", count);
    auto revision = revision_in_image(image);
    if (revision && !profile.flash_revision.empty()) revision = profile.flash_revision;
    if (!write_state(m, profile, state))
        return complain(name, no_state, "the rehearsal directory cannot be written");
    make_noise(profile.flash_noise);
    rest(profile.flash_seconds);
    const failure f = failure_of(profile, state.flash_attempts);
    const bool has_failed = f.signal != 0 || f.status != 0;
    if (revision && has_failed && profile.flash_works_anyway && change_revision(m, profile, *revision))
        what += "revision=" + *revision + " ";
    if (f.signal != 0) {
        log_event(m, profile, what + format_text("signal=%d", f.signal));
        die_of(f.signal);
    } else if (f.status != 0) {
        log_event(m, profile, what + format_text("exit=%d", f.status));
        return complain(name, f.status, "the download failed");
    }
    if (!revision || revision->empty()) {
        log_event(m, profile, what + "no image");
        return complain(name, bad_image, image + ": no image with a revision");
    }
    log_event(m, profile, what + "revision=" + *revision);
    if (!change_revision(m, profile, *revision))
        return complain(name, no_state, "the rehearsal directory cannot be written");
    printf("%s %s %s\n", profile.label().c_str(), profile.flash_needs_power_cycle ? "will run" : "now runs",
           revision->c_str());
    return 0;
}

/* Cuts the prefix off text. */
static bool take_prefix(std::string_view &text, std::string_view prefix)
{
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

/* Cuts a prefix like -b or /e and the number behind it off text. */
static bool take_number(std::string_view &text, std::string_view prefix, unsigned &number)
{
    if (!take_prefix(text, prefix)) return false;
    const size_t len = std::min(text.size(), text.find_first_not_of("0123456789"));
    const auto value = parse_number(text.substr(0, len));
    text.remove_prefix(len);
    number = static_cast<unsigned>(value.value_or(0));
    return value && *value <= UINT32_MAX;
}

/* The number behind a prefix, with nothing else in the argument. */
static bool is_number(std::string_view arg, std::string_view prefix, unsigned &number)
{
    return take_number(arg, prefix, number) && arg.empty();
}

static bool is_present(const machine &m, const drive_profile *profile)
{
    return profile && !is_gone(*profile, read_state(m, *profile));
}

/* What no tool can be made to do by a drive. */
static bool needs_stand_in(const drive_profile &profile)
{
    return profile.wants_stand_in || profile.flash_fails || profile.flash_exit != 0 ||
           profile.flash_signal != 0 || profile.flash_works_anyway || profile.flash_seconds > 0 ||
           profile.flash_noise != 0;
}

/* Becomes the flashing tool that ships, if there is one. The drive is told what the image is, for one that
 * does not say so itself. Returns where it is not. */
static void run_shipped_tool(const machine &m, const drive_profile &profile, char **argv)
{
    const std::string tool = m.root_dir() + "/" + shipped_tool_path;
    if (access(tool.c_str(), X_OK) == -1) return;
    const std::string image = argv[4];
    std::error_code error;
    const auto size = fs::file_size(image, error);
    drive_state state = read_state(m, profile);
    state.announced_revision = revision_in_image(image).value_or("");
    state.announced_size = error ? 0 : size;
    ++state.flash_attempts;
    write_state(m, profile, state);
    log_event(m, profile, "flash " + image_for_log(m, image) + " by vandrel-fw-download");
    execv(tool.c_str(), argv);
    perror(tool.c_str());
}

static int run_fw_download(int argc, char **argv)
{
    static constexpr char usage[] = "usage: fw_download -bHOST -tTARGET -l IMAGE -n -DDD";
    const char *const name = argv[0];
    const machine *const m = current_machine();
    if (!m) return complain(name, no_such_drive, "no rehearsal is going on");
    if (argc != 7) return complain(name, bad_arguments, usage);
    unsigned host = 0;
    unsigned target = 0;
    const bool is_as_usual =
        strcmp(argv[3], "-l") == 0 && strcmp(argv[5], "-n") == 0 && strcmp(argv[6], "-DDD") == 0;
    if (!is_number(argv[1], "-b", host) || !is_number(argv[2], "-t", target) || !is_as_usual)
        return complain(name, bad_arguments, usage);
    const drive_profile *const profile = find_direct_drive(*m, host, target);
    if (!is_present(*m, profile))
        return complain(name, no_such_drive, format_text("no drive at host %u, target %u", host, target));
    if (!needs_stand_in(*profile)) run_shipped_tool(*m, *profile, argv);
    return flash(*m, *profile, name, argv[4]);
}

namespace
{
/* Where a controller's tool is told to find the drive. */
struct controller_place {
    unsigned controller = 0;
    unsigned enclosure = 0;
    unsigned slot = 0;
};
} // namespace

static int flash_behind_controller(const char *name, const controller_place &place, std::string_view image,
                                   const std::string &mode)
{
    const machine *const m = current_machine();
    if (!m) return complain(name, no_such_drive, "no rehearsal is going on");
    const drive_profile *const profile =
        find_controller_drive(*m, place.controller, place.enclosure, place.slot);
    if (!is_present(*m, profile))
        return complain(name, no_such_drive,
                        format_text("no drive at controller %u, enclosure %u, slot %u", place.controller,
                                    place.enclosure, place.slot));
    return flash(*m, *profile, name, std::string(image), mode);
}

static int run_storcli(int argc, char **argv)
{
    static constexpr char usage[] = "usage: storcli /cN/eN/sN download src=IMAGE [mode=N]";
    if (argc != 4 && argc != 5) return complain(argv[0], bad_arguments, usage);
    controller_place place;
    unsigned mode = 0;
    std::string_view path = argv[1];
    std::string_view image = argv[3];
    const bool is_place = take_number(path, "/c", place.controller) &&
                          take_number(path, "/e", place.enclosure) && is_number(path, "/s", place.slot);
    const bool is_mode = argc == 4 || is_number(argv[4], "mode=", mode);
    if (!is_place || strcmp(argv[2], "download") != 0 || !take_prefix(image, "src=") || !is_mode)
        return complain(argv[0], bad_arguments, usage);
    return flash_behind_controller(argv[0], place, image, argc == 5 ? std::string(argv[4]) + " " : "");
}

static int run_MegaCli(int argc, char **argv)
{
    static constexpr char usage[] = "usage: MegaCli -PdFwDownload -PhysDrv[N:N] -fIMAGE -aN";
    if (argc != 5) return complain(argv[0], bad_arguments, usage);
    controller_place place;
    std::string_view drive = argv[2];
    std::string_view image = argv[3];
    const bool is_drive = take_number(drive, "-PhysDrv[", place.enclosure) &&
                          take_number(drive, ":", place.slot) && drive == "]";
    if (strcmp(argv[1], "-PdFwDownload") != 0 || !is_drive || !take_prefix(image, "-f") ||
        !is_number(argv[4], "-a", place.controller))
        return complain(argv[0], bad_arguments, usage);
    return flash_behind_controller(argv[0], place, image, "");
}

/* A rehearsal leaves the console's keyboard as it is. */
static int run_loadkeys(int argc, char **argv)
{
    if (const machine *const m = current_machine())
        append_to_file(m->dir + "/commands.log", format_text("loadkeys %s\n", argc > 1 ? argv[1] : ""));
    return 0;
}

constexpr tool tools[] = {
    {"fw_download", run_fw_download},
    {"storcli",     run_storcli    },
    {"MegaCli",     run_MegaCli    },
    {"loadkeys",    run_loadkeys   },
};

std::span<const tool> stand_in_tools()
{
    return tools;
}

} // namespace rehearsal
