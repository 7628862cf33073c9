/* handles.h - guards for local handles: each closes on every way out of its scope. */
#pragma once

#include <cstdio>
#include <memory>
#include <regex.h>
#include <utility>

#include <dirent.h>
#include <unistd.h>

struct close_file {
    void operator()(FILE *f) const { fclose(f); }
};
using file_ptr = std::unique_ptr<FILE, close_file>;

struct close_dir {
    void operator()(DIR *d) const { closedir(d); }
};
using dir_ptr = std::unique_ptr<DIR, close_dir>;

/* A compiled pattern. Its address is stable, so a record that owns one may be moved. */
struct free_regex {
    void operator()(regex_t *r) const
    {
        regfree(r);
        delete r;
    }
};
using regex_ptr = std::unique_ptr<regex_t, free_regex>;

/* A file descriptor, or -1 for none. */
class unique_fd
{
  public:
    explicit unique_fd(int fd = -1) : fd_(fd) {}
    unique_fd(unique_fd &&other) noexcept : fd_(other.release()) {}
    unique_fd &operator=(unique_fd &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~unique_fd()
    {
        if (fd_ != -1) close(fd_);
    }
    [[nodiscard]] int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

  private:
    int fd_;
};

/* For a process that becomes a program which has no part in the run: leaves it the standard streams and none
 * of the descriptors that a flashing tool inherits on purpose. */
inline void close_all_but_streams()
{
    close_range(STDERR_FILENO + 1, ~0U, 0);
}
