#include "base/files.h"

#include "base/trace.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

constexpr mode_t new_file_mode = 0666; /* less the process's umask */

/* Somebody may go on putting things in the place of a file; this often they are taken away again. */
constexpr int max_replacements = 1000;

const char *root_of(const text &reldir)
{
    return reldir ? reldir->c_str() : "";
}

std::string build_pathname(const text &reldir, const char *datadir, const char *filename)
{
    return format_text(path_size, "%s/%s/%s", root_of(reldir), datadir, filename);
}

std::string data_path(const text &reldir, const char *filename)
{
    return format_text(path_size, "%s%s/%s", root_of(reldir), DataDir, filename);
}

std::string prepend(const std::string &prefix, const std::string &s)
{
    return prefix + "/" + s;
}

int is_readable(const char *path)
{
    return access(path, R_OK) == 0;
}

void close_written(file_ptr f, const char *path)
{
    if (!f) return;
    const bool was_lost = ferror(f.get()) != 0;
    if (fclose(f.release()) == EOF)
        perror(path);
    else if (was_lost)
        fprintf(stderr, "%s: incomplete\n", path);
}

file_ptr open_stream(unique_fd fd, const char *mode)
{
    if (fd.get() == -1) return nullptr;
    file_ptr f(fdopen(fd.get(), mode));
    if (f) fd.release();
    return f;
}

file_ptr open_data_file(const char *path)
{
    unique_fd fd(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat st;
    if (fd.get() == -1 || fstat(fd.get(), &st) == -1) return nullptr;
    if (!S_ISREG(st.st_mode)) {
        fprintf(stderr, "%s: not a regular file\n", path);
        errno = EINVAL;
        return nullptr;
    }
    return open_stream(std::move(fd), "r");
}

bool move_aside(const char *path)
{
    return rename(path, (std::string(path) + "~").c_str()) == 0 || errno == ENOENT;
}

/* Removes whatever stands at path, a directory by its new name. */
static bool clear_away(const char *path)
{
    return unlink(path) == 0 || errno == ENOENT || move_aside(path);
}

file_ptr create_file(const char *path)
{
    int fd = -1;
    for (int i = 0; i < max_replacements && fd == -1; ++i) {
        if (!clear_away(path)) return nullptr;
        fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, new_file_mode);
        if (fd == -1 && errno != EEXIST) return nullptr;
    }
    return open_stream(unique_fd(fd), "w");
}

/* True for a file that has no second name somewhere. */
static bool is_plain_file(int fd)
{
    struct stat st;
    return fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_nlink == 1;
}

/* True when an open failed for what stands at the path, not for the path: a link, a pipe without a reader, a
 * directory, a file of somebody else that the kernel protects root from. */
static bool is_in_the_way(int error)
{
    return error == ELOOP || error == ENXIO || error == EISDIR || error == EACCES || error == EPERM;
}

int open_for_append(const char *path)
{
    for (int i = 0; i < max_replacements; ++i) {
        unique_fd fd(
            open(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, new_file_mode));
        if (fd.get() == -1 && !is_in_the_way(errno)) return -1;
        if (fd.get() != -1 && is_plain_file(fd.get())) return fd.release();
        if (!clear_away(path)) return -1;
    }
    errno = EEXIST;
    return -1;
}

file_ptr append_file(const char *path)
{
    return open_stream(unique_fd(open_for_append(path)), "a");
}

static bool is_executable(const char *path)
{
    struct stat st;
    return access(path, X_OK) == 0 && stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

/* Index of the first of `names` that stands executable in dir; -1 if none. A path too long for any file is
 * not tried. */
static int find_executable_in(const std::string &dir, const char *const names[])
{
    for (int i = 0; names[i]; ++i) {
        const std::string candidate = prepend(dir, names[i]);
        if (candidate.size() >= path_size) continue;
        fprintf(stderr, "Checking \"%s\"\n", candidate.c_str());
        if (is_executable(candidate.c_str())) return i;
    }
    return -1;
}

int check_executable(const char *const names[])
{
    const char *rest = getenv("PATH");
    if (!rest) return -1;

    char dir[path_size];
    while ((rest = next_token(rest, ':', dir, sizeof dir - 1))) {
        const int found = find_executable_in(dir[0] == '\0' ? "." : dir, names);
        if (found == -1) continue;
        trace("--> is executable, returning %d\n", found);
        return found;
    }
    trace("No sutable executable found, returning -1\n");
    return -1;
}
