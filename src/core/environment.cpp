#include "core/environment.h"

#include "base/files.h"
#include "base/settings.h"
#include "base/text.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <span>
#include <unistd.h>

constexpr size_t version_size = 80;

static const char *const bindirs[] = {"/sbin",     "/usr/sbin",      "/usr/local/sbin",
                                      "/root/bin", "/usr/local/bin", "/usr/bin"};
static const char *const libdirs[] = {"/lib", "/usr/lib", "/usr/local/lib"};

/* Whatever is opened later must not become one of the standard streams. What should have gone to a standard
 * output that was closed still counts as lost: nothing can be written to its place. */
static bool open_standard_streams()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        const int flags = fd == STDOUT_FILENO ? O_RDONLY : O_RDWR;
        if (fcntl(fd, F_GETFD) == -1 && open("/dev/null", flags) != fd)
            return false; /* the lowest free one: fd */
    }
    return true;
}

bool prepare_process()
{
    if (!open_standard_streams()) {
        perror("/dev/null");
        return false;
    }
    signal(SIGCHLD, SIG_DFL); /* ignored, it would hide how a flashing tool ended */
    signal(SIGPIPE, SIG_IGN); /* nobody reading the trace is no reason to stop between two drives */
    if (setenv("HOME", "/", 0) == -1) {
        perror("HOME");
        return false;
    }
    if (chdir("/") == -1) {
        perror("/");
        return false;
    }
    return true;
}

/* Sets the variable to reldir's directories followed by its old value. */
static bool extend_search_path(const char *pname, const char *name, std::span<const char *const> dirs,
                               const std::string &reldir)
{
    std::string value;
    for (const char *dir : dirs) {
        if (!value.empty()) value += ":";
        value += reldir + dir;
    }
    if (const char *old = getenv(name)) {
        if (verbose) fprintf(stderr, "%s: old %s=\"%s\"\n", pname, name, old);
        value += std::string(":") + old;
    }
    const std::string cut = format_text(search_path_size, "%s", value.c_str());
    if (setenv(name, cut.c_str(), 1) == 0) return true;
    fprintf(stderr, "setenv(\"%s\", ...): not enough space\n", name);
    return false;
}

bool extend_PATH(const char *pname, const std::string &reldir)
{
    return extend_search_path(pname, "PATH", bindirs, reldir);
}

bool extend_LD_LIBRARY_PATH(const char *pname, const std::string &reldir)
{
    return extend_search_path(pname, "LD_LIBRARY_PATH", libdirs, reldir);
}

void show_new_variable(const char *pname, const char *name)
{
    const char *value = getenv(name);
    if (value)
        fprintf(stderr, "%s: new %s=\"%s\"\n", pname, name, value);
    else
        fprintf(stderr, "%s: cannot fetch new %s\n", pname, name);
}

void redirect_diagnostics(const char *path, bool has_screens)
{
    unlink(path);
    /* Not freopen: on failure it would close the stream, and the next file opened would receive what is meant
     * for the operator. */
    int fd = open_for_append(path);
    if (fd == -1) {
        perror(path);
        if (has_screens) fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    }
    const unique_fd closing(fd);
    if (fd != -1) dup2(fd, STDERR_FILENO);
    setvbuf(stderr, nullptr, _IOLBF, 0);
}

std::string read_version(const char *path)
{
    const file_ptr f = open_data_file(path);
    char line[version_size];
    if (!f || !fgets(line, sizeof line, f.get())) return "?.?";
    std::string result = line;
    strip_trailing_space(result);
    return result;
}
