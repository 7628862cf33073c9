#include "base/files.h"

#include "base/settings.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

constexpr mode_t new_file_mode = 0666; /* less the process's umask */

std::string build_pathname(const text &reldir, const char *datadir, const char *filename)
{
    return format_text(path_size, "%s/%s/%s", reldir ? reldir->c_str() : "", datadir, filename);
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

bool is_symlink(const char *path)
{
    struct stat st;
    return lstat(path, &st) == 0 && S_ISLNK(st.st_mode);
}

file_ptr open_stream(unique_fd fd, const char *mode)
{
    if (fd.get() == -1) return nullptr;
    file_ptr f(fdopen(fd.get(), mode));
    if (f) fd.release();
    return f;
}

file_ptr create_file(const char *path)
{
    if (is_symlink(path)) {
        errno = ELOOP;
        return nullptr;
    }
    /* Removed and made anew rather than truncated: what lies in a directory that everybody may write to could
     * be a pipe, a second name of another file, or somebody else's. */
    if (unlink(path) == -1 && errno != ENOENT) return nullptr;
    return open_stream(
        unique_fd(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, new_file_mode)), "w");
}

int open_for_append(const char *path)
{
    unique_fd fd(
        open(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, new_file_mode));
    if (fd.get() == -1) return -1;
    struct stat st;
    if (fstat(fd.get(), &st) == -1) return -1;
    if (!S_ISREG(st.st_mode) || st.st_nlink > 1) {
        errno = EEXIST;
        return -1;
    }
    return fd.release();
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

/* Index of the first of `names` that stands executable in dir, whose buffer has room for `size` bytes; -1 if
 * none. */
static int find_executable_in(char *dir, size_t size, const char *const names[])
{
    const size_t len = strlen(dir);
    const size_t room = size - len;
    for (int i = 0; names[i]; ++i) {
        if (strlen(names[i]) >= room) continue; /* a cut candidate would name some other file */
        strcpy(dir + len, names[i]); // NOLINT(clang-analyzer-security.insecureAPI.strcpy): measured above
        fprintf(stderr, "Checking \"%s\"\n", dir);
        if (is_executable(dir)) return i;
    }
    return -1;
}

int check_executable(const char *const names[])
{
    const char *rest = getenv("PATH");
    if (!rest) return -1;

    char candidate[path_size];
    while ((rest = next_token(rest, ':', candidate, sizeof candidate - 1))) {
        if (candidate[0] == '\0')
            strcpy(candidate, "."); // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
        strcat(candidate, "/");     // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
        const int found = find_executable_in(candidate, sizeof candidate, names);
        if (found == -1) continue;
        if (verbose) fprintf(stderr, "--> is executable, returning %d\n", found);
        return found;
    }
    if (verbose) fprintf(stderr, "No sutable executable found, returning -1\n");
    return -1;
}
