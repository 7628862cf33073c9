#include "flash_tools.h"

#include "drive_state.h"
#include "files.h"
#include "text.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <optional>
#include <sys/resource.h>

namespace fs = std::filesystem;

namespace rehearsal
{

namespace
{

/* Exit statuses of a stand-in that is called wrongly; a fault of the inventory has its own. */
enum { bad_arguments = 2, no_such_drive = 3, bad_image = 4, no_state = 5 };

constexpr uint64_t usual_failure = 1;

int complain(const char *name, int status, const std::string &what)
{
    fprintf(stderr, "%s: %s\n", name, what.c_str());
    return status;
}

/* The word of a file's name before its ending, for images that do not say themselves what they hold:
 * "SN06" of "model-SN06.lod". */
std::string revision_in_name(std::string_view path)
{
    path.remove_prefix(path.rfind('/') + 1);
    const size_t ending = path.rfind('.');
    if (ending != std::string_view::npos && ending > 0) path = path.substr(0, ending);
    const size_t separator = path.find_last_of("-_. ");
    return std::string(separator == std::string_view::npos ? path : path.substr(separator + 1));
}

/* What a drive runs once it has taken this image; nothing with errno set when the image cannot be read. */
std::optional<std::string> revision_in_image(const std::string &path)
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

void make_noise(uint64_t bytes)
{
    constexpr char line[] = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcde\n";
    constexpr uint64_t line_len = sizeof line - 1;
    for (uint64_t left = bytes; left > 0; left -= left < line_len ? left : line_len)
        fwrite(line, 1, left < line_len ? left : line_len, stdout);
    fflush(stdout);
}

void rest(double seconds)
{
    timespec t{};
    t.tv_sec = static_cast<time_t>(seconds);
    t.tv_nsec = static_cast<long>((seconds - static_cast<double>(t.tv_sec)) * 1e9);
    if (seconds > 0) nanosleep(&t, nullptr);
}

/* How this attempt fails, as the inventory has it; 0 and 0 when it succeeds. */
struct failure {
    int status;
    int signal;
};

failure failure_of(const drive_spec &spec, uint64_t attempt)
{
    const bool has_way_to_fail = spec.flash_exit != 0 || spec.flash_signal != 0;
    const bool fails = spec.flash_fails ? attempt <= *spec.flash_fails : has_way_to_fail;
    if (!fails) return {0, 0};
    if (spec.flash_signal != 0) return {0, static_cast<int>(spec.flash_signal)};
    return {static_cast<int>(spec.flash_exit != 0 ? spec.flash_exit : usual_failure), 0};
}

/* The image as the log names it: below the rehearsal's tree, whose own place differs from run to run. */
std::string image_for_log(const machine &m, const std::string &image)
{
    return image.starts_with(m.root_dir()) ? image.substr(m.root_dir().size()) : image;
}

/* Whoever started the tool may have it ignore the signal. */
void die_of(int number)
{
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    signal(number, SIG_DFL);
    raise(number);
}

/* How many open descriptors of this process lead to drives; a program must not hand its own on. */
size_t inherited_nodes(const machine &m)
{
    std::error_code error;
    size_t count = 0;
    for (fs::directory_iterator i("/proc/self/fd", error), end; !error && i != end; i.increment(error)) {
        std::error_code ignored; /* the iterator's own descriptor may be gone */
        count += fs::read_symlink(i->path(), ignored).parent_path() == m.dev_dir();
    }
    return count;
}

/* One attempt of any flashing tool on a drive: takes its time, makes its noise, then fails or changes the
 * revision. */
int flash(const machine &m, const drive_spec &spec, const char *name, const std::string &image)
{
    drive_state state = read_state(m, spec);
    state.flash_attempts++;
    std::string what = format_text("flash %s %s attempt=%llu ", name, image_for_log(m, image).c_str(),
                                   static_cast<unsigned long long>(state.flash_attempts));
    if (const size_t count = inherited_nodes(m)) what += format_text("inherited=%zu ", count);
    const auto revision = revision_in_image(image);
    if (!write_state(m, spec, state))
        return complain(name, no_state, "the rehearsal directory cannot be written");
    make_noise(spec.flash_noise);
    rest(spec.flash_seconds);
    if (const failure f = failure_of(spec, state.flash_attempts); f.signal != 0) {
        log_event(m, spec, what + format_text("signal=%d", f.signal));
        die_of(f.signal);
    } else if (f.status != 0) {
        log_event(m, spec, what + format_text("exit=%d", f.status));
        return complain(name, f.status, "the download failed");
    }
    if (!revision || revision->empty()) {
        log_event(m, spec, what + "no image");
        return complain(name, bad_image, image + ": no image with a revision");
    }
    state = read_state(m, spec); /* commands may have come meanwhile */
    state.revision = spec.flash_revision.empty() ? *revision : spec.flash_revision;
    log_event(m, spec, what + "revision=" + state.revision);
    if (!write_state(m, spec, state))
        return complain(name, no_state, "the rehearsal directory cannot be written");
    printf("%s now runs %s\n", spec.label().c_str(), state.revision.c_str());
    return 0;
}

/* The number behind a two-character option like -b or -t. */
std::optional<unsigned> number_behind(const char *option, const char *arg)
{
    if (strncmp(arg, option, 2) != 0) return std::nullopt;
    const auto number = parse_number(arg + 2);
    if (!number || *number > UINT32_MAX) return std::nullopt;
    return static_cast<unsigned>(*number);
}

int run_fw_download(int argc, char **argv)
{
    static constexpr char usage[] = "usage: fw_download -bHOST -tTARGET -l IMAGE -n -DDD";
    const char *const name = argv[0];
    const machine *const m = current_machine();
    if (m == nullptr) return complain(name, no_such_drive, "no rehearsal is going on");
    if (argc != 7) return complain(name, bad_arguments, usage);
    const auto host = number_behind("-b", argv[1]);
    const auto target = number_behind("-t", argv[2]);
    const bool is_as_usual =
        strcmp(argv[3], "-l") == 0 && strcmp(argv[5], "-n") == 0 && strcmp(argv[6], "-DDD") == 0;
    if (!host || !target || !is_as_usual) return complain(name, bad_arguments, usage);
    const drive_spec *const spec = find_direct_drive(*m, *host, *target);
    if (spec == nullptr || is_gone(*spec, read_state(*m, *spec)))
        return complain(name, no_such_drive, format_text("no drive at host %u, target %u", *host, *target));
    return flash(*m, *spec, name, argv[4]);
}

/* A rehearsal leaves the console's keyboard as it is. */
int run_loadkeys(int argc, char **argv)
{
    if (const machine *const m = current_machine())
        append_to_file(m->dir + "/commands.log", format_text("loadkeys %s\n", argc > 1 ? argv[1] : ""));
    return 0;
}

constexpr tool tools[] = {
    {"fw_download", run_fw_download},
    {"loadkeys",    run_loadkeys   },
};

} // namespace

std::span<const tool> stand_in_tools()
{
    return tools;
}

} // namespace rehearsal
