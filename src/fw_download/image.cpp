#include "fw_download/image.h"

#include "fw_download/plan.h"

#include "base/handles.h"
#include "base/text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace fw_download
{

/* Fills dst from the file, one byte more at its end standing for "there is more". Returns the bytes read, or
 * -1. */
static ssize_t read_all(int fd, std::vector<uint8_t> *dst)
{
    size_t len = 0;
    while (len < dst->size()) {
        const ssize_t n = read(fd, dst->data() + len, dst->size() - len);
        if (n == -1 && errno == EINTR) continue;
        if (n == -1) return -1;
        if (n == 0) break;
        len += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(len);
}

std::vector<uint8_t> read_image(const std::string &path, std::string *reason)
{
    const unique_fd fd(
        open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)); /* a pipe must not make it wait */
    struct stat st = {};
    if (fd.get() == -1 || fstat(fd.get(), &st) == -1) {
        *reason = strerror(errno);
        return {};
    }
    if (!S_ISREG(st.st_mode)) return *reason = "no regular file", std::vector<uint8_t>();
    if (st.st_size == 0) return *reason = "empty", std::vector<uint8_t>();
    if (static_cast<uint64_t>(st.st_size) > max_ata_image) {
        *reason = format_text(question_size, "%lld bytes, more than any drive takes",
                              static_cast<long long>(st.st_size));
        return {};
    }
    std::vector<uint8_t> image(static_cast<size_t>(st.st_size) + 1);
    const ssize_t len = read_all(fd.get(), &image);
    if (len == -1) return *reason = strerror(errno), std::vector<uint8_t>();
    if (len != st.st_size) return *reason = "changes while it is read", std::vector<uint8_t>();
    image.resize(static_cast<size_t>(len));
    return image;
}

} // namespace fw_download
