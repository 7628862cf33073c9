#include "rehearsal/text/files.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace rehearsal
{

namespace
{
struct descriptor {
    int fd;
    explicit descriptor(int opened) : fd(opened) {}
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    ~descriptor()
    {
        if (fd >= 0) close(fd);
    }
};
} // namespace

static bool write_all(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t n = write(fd, text.data(), text.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        text.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

bool read_file(const std::string &path, std::string &text)
{
    const descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.fd < 0) return false;
    std::string content;
    char buf[4096];
    for (;;) {
        const ssize_t n = read(file.fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) break;
        content.append(buf, static_cast<size_t>(n));
    }
    text = std::move(content);
    return true;
}

bool write_file(const std::string &path, std::string_view text)
{
    const descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    return file.fd >= 0 && write_all(file.fd, text);
}

bool replace_file(const std::string &path, std::string_view text)
{
    const std::string fresh = path + "." + std::to_string(gettid());
    return write_file(fresh, text) && rename(fresh.c_str(), path.c_str()) == 0;
}

void append_to_file(const std::string &path, std::string_view text)
{
    const descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    if (file.fd >= 0) write_all(file.fd, text);
}

} // namespace rehearsal
