#include "fakes.h"

#include "helpers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <dlfcn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

constexpr int drive_fd = 9999;

const sg_outcome refused = {1, 0, 0, 0, bytes("70 00 05 00 00 00 00 0a 00 00 00 00 20 00")};
fake_process process;
static fake_drive *current_drive;

fake_drive::fake_drive() : owner(getpid())
{
    dev.fd = drive_fd;
    dev.locate_pid = -1;
    current_drive = this;
}

fake_drive::~fake_drive()
{
    for (const exchange &missing : expected)
        ADD_FAILURE() << "never sent: " << missing.command;
    current_drive = nullptr;
}

void fake_drive::expect(const std::string &command, const std::string &reply, const sg_outcome &outcome)
{
    expected.push_back({command, reply, outcome});
}

static std::string text_of(const sg_io_hdr &hdr)
{
    const bool is_out = hdr.dxfer_direction == SG_DXFER_TO_DEV;
    const bool is_in = hdr.dxfer_direction == SG_DXFER_FROM_DEV;
    EXPECT_TRUE(is_out || is_in || (hdr.dxfer_direction == SG_DXFER_NONE && !hdr.dxferp));
    return (is_out  ? "out "
            : is_in ? "in "
                    : "none ") +
           hex(hdr.cmdp, hdr.cmd_len) + " [" + std::to_string(hdr.dxfer_len) + "]" +
           (is_out ? " " + hex(hdr.dxferp, hdr.dxfer_len) : "");
}

int fake_drive::receive(int fd, sg_io_hdr *hdr)
{
    if (getpid() != owner) {
        if (child_report == -1) _exit(EXIT_FAILURE);
        const std::string report = std::to_string(process.clock_readings) + " " + text_of(*hdr);
        EXPECT_NE(write(child_report, report.data(), report.size()), -1);
        for (;;)
            pause();
    }
    EXPECT_EQ(fd, drive_fd);
    EXPECT_TRUE(hdr->interface_id == 'S' && hdr->mx_sb_len == 64 && hdr->timeout == 10000 && hdr->sbp &&
                hdr->iovec_count == 0 && hdr->flags == 0 && hdr->pack_id == 0 && !hdr->usr_ptr);
    if (expected.empty()) expected.push_back({"nothing", "", {.error = EIO}});
    const exchange next = expected.front();
    expected.pop_front();
    EXPECT_EQ(text_of(*hdr), next.command);

    const sg_outcome &outcome = next.outcome;
    std::copy_n(next.reply.data(), std::min<size_t>(next.reply.size(), hdr->dxfer_len),
                static_cast<char *>(hdr->dxferp));
    std::copy_n(outcome.sense.data(), outcome.sense.size(), hdr->sbp);
    hdr->sb_len_wr = static_cast<unsigned char>(outcome.sense.size());
    hdr->masked_status = outcome.masked_status;
    hdr->driver_status = outcome.driver_status;
    hdr->host_status = outcome.host_status;
    hdr->duration = 21;
    errno = outcome.error;
    return outcome.error ? -1 : 0;
}

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list args;
    va_start(args, request);
    void *argument = va_arg(args, void *);
    va_end(args);
    if (request == SG_IO && current_drive)
        return current_drive->receive(fd, static_cast<sg_io_hdr *>(argument));
    return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

extern "C" pid_t fork() noexcept
{
    if (process.forks_left == 0) {
        errno = EAGAIN;
        return -1;
    }
    if (process.forks_left > 0) --process.forks_left;
    return reinterpret_cast<pid_t (*)()>(dlsym(RTLD_NEXT, "fork"))();
}

extern "C" int sigtimedwait(const sigset_t *, siginfo_t *, const timespec *pause)
{
    process.pauses.push_back(pause->tv_sec);
    errno = EAGAIN;
    return -1;
}

static time_t next_of(std::deque<time_t> &told)
{
    const time_t next = told.front();
    if (told.size() > 1) told.pop_front();
    return next;
}

extern "C" time_t time(time_t *) noexcept
{
    ++process.clock_readings;
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return process.clock.empty() ? now.tv_sec : next_of(process.clock);
}
