#include "core/run_lock.h"

#include "base/text.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>

constexpr mode_t run_lock_mode = 0600;
constexpr mode_t run_directory_mode = 0755;

static bool has_open(const std::string &process, const struct stat &file)
{
    const std::string fds = process + "/fd";
    const dir_ptr dir(opendir(fds.c_str()));
    while (const dirent *entry = dir ? readdir(dir.get()) : nullptr) {
        struct stat st;
        const bool is_open = stat((fds + "/" + entry->d_name).c_str(), &st) == 0;
        if (is_open && st.st_dev == file.st_dev && st.st_ino == file.st_ino) return true;
    }
    return false;
}

static std::string command_name(const std::string &process)
{
    const file_ptr f(fopen((process + "/comm").c_str(), "re"));
    char name[line_size];
    return f && fgets(name, sizeof name, f.get()) ? stripcr(name) : "?";
}

/* "process PID (NAME)" for each process but this one that has the file open. Who took a lock may have ended
 * since: those who still have it are the ones to look for. */
static std::string find_holders(int fd)
{
    struct stat file;
    if (fstat(fd, &file) == -1) return {};
    std::string holders;
    const dir_ptr proc(opendir("/proc"));
    while (const dirent *entry = proc ? readdir(proc.get()) : nullptr) {
        const std::string pid = entry->d_name;
        const std::string process = "/proc/" + pid;
        const bool is_other = isdigit(static_cast<unsigned char>(pid[0])) && pid != std::to_string(getpid());
        if (!is_other || !has_open(process, file)) continue;
        holders += (holders.empty() ? "process " : ", process ") + pid + " (" + command_name(process) + ")";
    }
    return holders;
}

static int open_run_lock()
{
    const int flags = O_RDWR | O_CREAT | O_NOFOLLOW;
    const int fd = open(run_lock_path, flags, run_lock_mode);
    if (fd != -1 || errno != ENOENT) return fd;
    mkdir("/run", run_directory_mode); /* a system made for the purpose may lack it */
    return open(run_lock_path, flags, run_lock_mode);
}

bool take_run_lock(unique_fd *lock)
{
    unique_fd fd(open_run_lock());
    if (fd.get() == -1) {
        if (errno == EACCES || errno == EPERM || errno == EROFS) return true;
        perror(run_lock_path);
        return false;
    }
    if (flock(fd.get(), LOCK_EX | LOCK_NB) == 0) {
        *lock = std::move(fd);
        return true;
    }
    if (errno != EWOULDBLOCK) {
        perror(run_lock_path);
        return false;
    }
    const std::string holders = find_holders(fd.get());
    fprintf(stderr, "%s: another run is at work: %s\n", run_lock_path,
            holders.empty() ? "none of its processes is seen from here" : holders.c_str());
    return false;
}
