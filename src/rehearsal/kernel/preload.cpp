/* preload.cpp - the library that a rehearsal puts in front of the C library: below the paths of the kernel's
 * view of SCSI devices, and at the few places of a machine that the program writes to outside its tree, it
 * sees the rehearsal directory instead; its generic nodes are answered by simulated drives. Everything else
 * passes through untouched. */

/* open and open64 are defined side by side here, and no header may make inline functions of them. */
#undef _FILE_OFFSET_BITS
#undef _FORTIFY_SOURCE

#include "rehearsal/drive/drive_state.h"
#include "rehearsal/kernel/real_function.h"
#include "rehearsal/kernel/sg_transport.h"
#include "rehearsal/machine/machine.h"
#include "rehearsal/text/text.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

using rehearsal::current_machine;
using rehearsal::drive_profile;
using rehearsal::find_real;
using rehearsal::machine;

constexpr std::string_view simulated_trees[] = {
    "/sys/class/scsi_device",
    "/sys/class/scsi_host",
    "/sys/class/scsi_generic",
    "/sys/block",
};
/* Of these every rehearsal has its own, so that many run side by side and none leaves a script behind that
 * calls real tools. */
constexpr std::string_view own_files[] = {
    "/proc/self/mountinfo", "/proc/swaps", "/run/vandrel.lock", "/tmp/Script.sh", "/tmp/Vandrel_VERBOSE",
};
constexpr std::string_view node_prefix = "/dev/sg";
constexpr std::string_view disk_prefix = "/dev/sd";
constexpr int sg_driver_version = 30536;

static bool is_node(std::string_view path)
{
    return path.starts_with(node_prefix) && rehearsal::parse_number(path.substr(node_prefix.size()));
}

static bool is_disk(std::string_view path)
{
    return path.starts_with(disk_prefix) &&
           path.find_first_not_of("abcdefghijklmnopqrstuvwxyz", disk_prefix.size()) == std::string_view::npos;
}

static bool is_simulated(std::string_view path)
{
    if (is_node(path) || is_disk(path)) return true;
    for (const std::string_view file : own_files)
        if (path == file) return true;
    for (const std::string_view tree : simulated_trees)
        if (path.starts_with(tree) && (path.size() == tree.size() || path[tree.size()] == '/')) return true;
    return false;
}

namespace
{
/* The path to use in place of the program's own. A node that the rehearsal does not have is not there at all:
 * the real one of that name stays out of reach. */
class redirected
{
  public:
    explicit redirected(const char *path) : path_(path)
    {
        if (!path || !is_simulated(path)) return;
        if (const machine *const m = current_machine()) {
            replacement_ = m->dir + path;
            path_ = replacement_.c_str();
        }
    }
    const char *path() const { return path_; }

  private:
    const char *path_;
    std::string replacement_;
};
} // namespace

/* The drive whose simulated node has this path in the rehearsal directory, or null. */
static const drive_profile *drive_of_node(const machine &m, std::string_view path)
{
    if (!path.starts_with(m.dir)) return nullptr;
    path.remove_prefix(m.dir.size());
    if (!is_node(path)) return nullptr;
    const auto number = rehearsal::parse_number(path.substr(node_prefix.size()));
    return *number < m.drives.size() ? &m.drives[*number] : nullptr;
}

/* The drive behind an open descriptor, or null. The kernel is asked what is open there, because a record of
 * our own would have to follow every dup, fork and close. */
static const drive_profile *drive_of_descriptor(const machine &m, int fd)
{
    char path[PATH_MAX];
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t len = readlink(link.c_str(), path, sizeof path);
    return len > 0 ? drive_of_node(m, {path, static_cast<size_t>(len)}) : nullptr;
}

/* A disk that somebody else has mounted can't be claimed. */
static bool is_claimed(const machine &m, std::string_view path)
{
    if (!path.starts_with(m.dir)) return false;
    path.remove_prefix(m.dir.size());
    if (!is_disk(path)) return false;
    path.remove_prefix(std::string_view("/dev/").size());
    return std::any_of(m.drives.begin(), m.drives.end(),
                       [&](const drive_profile &d) { return d.is_in_use && d.adapter == path; });
}

static bool has_left(const machine &m, const drive_profile &profile)
{
    return profile.gone_after && is_gone(profile, read_state(m, profile));
}

static int open_redirected(int dir, const char *path, int flags, mode_t mode)
{
    static const auto real = find_real<decltype(&openat)>("openat");
    const redirected target(path);
    if (target.path() != path) {
        const machine &m = *current_machine();
        const drive_profile *const profile = drive_of_node(m, target.path());
        if (profile && has_left(m, *profile)) {
            errno = ENXIO; /* the kernel's answer while the node of a dead drive is still there */
            return -1;
        }
        if ((flags & O_EXCL) != 0 && (flags & O_CREAT) == 0 && is_claimed(m, target.path())) {
            errno = EBUSY;
            return -1;
        }
    }
    return real(dir, target.path(), flags, mode);
}

/* Answers one of the two requests that a simulated node knows. Returns 0, or -1 with errno set, like ioctl.
 */
static int answer_ioctl(const machine &m, const drive_profile &profile, unsigned long request, void *arg)
{
    if (request == SG_GET_VERSION_NUM) {
        *static_cast<int *>(arg) = sg_driver_version;
        return 0;
    }
    const int error = rehearsal::answer_sg_io(m, profile, *static_cast<sg_io_hdr_t *>(arg));
    if (error != 0) errno = error;
    return error == 0 ? 0 : -1;
}

/* A mode follows the flags only when a file may be created. */
#define OPEN_WITH_MODE(dir, path, flags)                                              \
    va_list args;                                                                     \
    va_start(args, flags);                                                            \
    const bool has_mode = ((flags)&O_CREAT) != 0 || ((flags)&O_TMPFILE) == O_TMPFILE; \
    const mode_t mode = has_mode ? va_arg(args, mode_t) : 0;                          \
    va_end(args);                                                                     \
    return open_redirected(dir, path, flags, mode)

REHEARSAL_EXPORT int open(const char *path, int flags, ...)
{
    OPEN_WITH_MODE(AT_FDCWD, path, flags);
}

REHEARSAL_EXPORT int open64(const char *path, int flags, ...)
{
    OPEN_WITH_MODE(AT_FDCWD, path, flags);
}

REHEARSAL_EXPORT int openat(int dir, const char *path, int flags, ...)
{
    OPEN_WITH_MODE(dir, path, flags);
}

REHEARSAL_EXPORT int openat64(int dir, const char *path, int flags, ...)
{
    OPEN_WITH_MODE(dir, path, flags);
}

/* What a program built with source fortification calls instead. */
REHEARSAL_EXPORT int __open_2(const char *path, int flags)
{
    return open_redirected(AT_FDCWD, path, flags, 0);
}

REHEARSAL_EXPORT int __open64_2(const char *path, int flags)
{
    return open_redirected(AT_FDCWD, path, flags, 0);
}

REHEARSAL_EXPORT int __openat_2(int dir, const char *path, int flags)
{
    return open_redirected(dir, path, flags, 0);
}

REHEARSAL_EXPORT int __openat64_2(int dir, const char *path, int flags)
{
    return open_redirected(dir, path, flags, 0);
}

REHEARSAL_EXPORT FILE *fopen(const char *path, const char *mode)
{
    static const auto real = find_real<decltype(&fopen)>("fopen");
    return real(redirected(path).path(), mode);
}

REHEARSAL_EXPORT FILE *fopen64(const char *path, const char *mode)
{
    return fopen(path, mode);
}

REHEARSAL_EXPORT DIR *opendir(const char *path)
{
    static const auto real = find_real<decltype(&opendir)>("opendir");
    return real(redirected(path).path());
}

REHEARSAL_EXPORT ssize_t readlinkat(int dir, const char *path, char *buf, size_t size) noexcept
{
    static const auto real = find_real<decltype(&readlinkat)>("readlinkat");
    return real(dir, redirected(path).path(), buf, size);
}

REHEARSAL_EXPORT ssize_t readlink(const char *path, char *buf, size_t size) noexcept
{
    return readlinkat(AT_FDCWD, path, buf, size);
}

REHEARSAL_EXPORT ssize_t __readlink_chk(const char *path, char *buf, size_t size, size_t)
{
    return readlinkat(AT_FDCWD, path, buf, size);
}

REHEARSAL_EXPORT int faccessat(int dir, const char *path, int mode, int flags) noexcept
{
    static const auto real = find_real<decltype(&faccessat)>("faccessat");
    return real(dir, redirected(path).path(), mode, flags);
}

REHEARSAL_EXPORT int access(const char *path, int mode) noexcept
{
    return faccessat(AT_FDCWD, path, mode, 0);
}

REHEARSAL_EXPORT int fstatat(int dir, const char *path, struct stat *st, int flags) noexcept
{
    static const auto real = find_real<decltype(&fstatat)>("fstatat");
    return real(dir, redirected(path).path(), st, flags);
}

REHEARSAL_EXPORT int stat(const char *path, struct stat *st) noexcept
{
    return fstatat(AT_FDCWD, path, st, 0);
}

REHEARSAL_EXPORT int lstat(const char *path, struct stat *st) noexcept
{
    return fstatat(AT_FDCWD, path, st, AT_SYMLINK_NOFOLLOW);
}

/* The records are the same on every 64-bit machine. */
static_assert(sizeof(struct stat64) == sizeof(struct stat));

REHEARSAL_EXPORT int fstatat64(int dir, const char *path, struct stat64 *st, int flags) noexcept
{
    return fstatat(dir, path, reinterpret_cast<struct stat *>(st), flags);
}

REHEARSAL_EXPORT int stat64(const char *path, struct stat64 *st) noexcept
{
    return fstatat64(AT_FDCWD, path, st, 0);
}

REHEARSAL_EXPORT int lstat64(const char *path, struct stat64 *st) noexcept
{
    return fstatat64(AT_FDCWD, path, st, AT_SYMLINK_NOFOLLOW);
}

REHEARSAL_EXPORT int statx(int dir, const char *path, int flags, unsigned mask, struct statx *st) noexcept
{
    static const auto real = find_real<decltype(&statx)>("statx");
    return real(dir, redirected(path).path(), flags, mask, st);
}

REHEARSAL_EXPORT int unlink(const char *path) noexcept
{
    static const auto real = find_real<decltype(&unlink)>("unlink");
    return real(redirected(path).path());
}

REHEARSAL_EXPORT int rename(const char *from, const char *to) noexcept
{
    static const auto real = find_real<decltype(&rename)>("rename");
    return real(redirected(from).path(), redirected(to).path());
}

REHEARSAL_EXPORT int ioctl(int fd, unsigned long request, ...) noexcept
{
    static const auto real = find_real<decltype(&ioctl)>("ioctl");
    va_list args;
    va_start(args, request);
    void *const arg = va_arg(args, void *);
    va_end(args);
    const bool is_for_node = request == SG_IO || request == SG_GET_VERSION_NUM;
    if (const machine *const m = is_for_node ? current_machine() : nullptr)
        if (const drive_profile *const profile = drive_of_descriptor(*m, fd))
            return answer_ioctl(*m, *profile, request, arg);
    return real(fd, request, arg);
}
