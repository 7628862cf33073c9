#include "fw_download/console.h"

#include "base/text.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace fw_download
{

constexpr size_t bytes_per_row = 16;
constexpr size_t piece_size = 4096; /* a pipe that is ready to be written to takes so much without waiting */

bool open_standard_descriptors()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (fcntl(fd, F_GETFD) == -1 && open("/dev/null", O_RDWR) != fd) return false;
    return true;
}

static bool takes_at_once(int fd)
{
    pollfd p = {.fd = fd, .events = POLLOUT, .revents = 0};
    return poll(&p, 1, 0) == 1 && (p.revents & POLLOUT);
}

static void write_text(const console &con, int fd, std::string_view text)
{
    while (!text.empty()) {
        if (con.is_impatient && !takes_at_once(fd)) return;
        const ssize_t n = write(fd, text.data(), std::min(text.size(), piece_size));
        if (n > 0)
            text.remove_prefix(static_cast<size_t>(n));
        else if (n == 0 || errno != EINTR)
            return; /* a closed pipe or a full file system: the text is lost, the work is not */
    }
}

static std::string formatted(const char *fmt, va_list args)
{
    std::string text(line_size, '\0');
    const int n = vsnprintf(text.data(), text.size(), fmt, args);
    text.resize(n < 0 ? 0 : std::min(static_cast<size_t>(n), text.size() - 1));
    return text;
}

void say(const console &con, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    write_text(con, con.out, formatted(fmt, args));
    va_end(args);
}

void complain(const console &con, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    write_text(con, con.err, "vandrel-fw-download: " + formatted(fmt, args) + "\n");
    va_end(args);
}

void detail(const console &con, int level, const char *fmt, ...)
{
    if (con.debug < level) return;
    va_list args;
    va_start(args, fmt);
    write_text(con, con.err, formatted(fmt, args));
    va_end(args);
}

void detail_bytes(const console &con, int level, std::span<const uint8_t> data)
{
    if (con.debug < level) return;
    for (size_t offset = 0; offset < data.size(); offset += bytes_per_row) {
        std::string row = format_text(question_size, "    %04zx ", offset);
        for (const uint8_t byte : data.subspan(offset, std::min(bytes_per_row, data.size() - offset)))
            row += format_text(question_size, " %02x", byte);
        write_text(con, con.err, row + "\n");
    }
}

} // namespace fw_download
