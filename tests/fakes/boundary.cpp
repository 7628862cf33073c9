#include "boundary.h"

#include <cerrno>
#include <cstdarg>
#include <sys/syscall.h>
#include <unistd.h>

constexpr int drive_fd = 9999;

std::function<int(sg_io_hdr *)> answer_sg_io;
std::function<uint32_t(_SL_LIB_CMD_PARAM_T *)> answer_library;

/* Reads a byte of every eight and the last: the sanitizer tells when one is not there. */
static void touch(const void *start, size_t size)
{
    const auto *byte = static_cast<const volatile uint8_t *>(start);
    for (size_t i = 0; i < size; i += 8)
        static_cast<void>(byte[i]);
    if (size > 0) static_cast<void>(byte[size - 1]);
}

uint32_t library_entry(_SL_LIB_CMD_PARAM_T *request)
{
    touch(request->pData, request->dataSize);
    return answer_library(request);
}

Dev fake_dev(char interface)
{
    Dev dev = {};
    dev.ctrlId = 0x12345678;
    dev.drv = 0x9ABC;
    dev.fd = drive_fd;
    dev.ProcessLibCommand = reinterpret_cast<void *>(library_entry);
    dev.interface = interface;
    dev.locate_pid = -1;
    return dev;
}

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list args;
    va_start(args, request);
    auto *hdr = va_arg(args, sg_io_hdr *);
    va_end(args);
    if (fd != drive_fd) return static_cast<int>(syscall(SYS_ioctl, fd, request, hdr));
    assert(request == SG_IO && hdr->interface_id == 'S' && hdr->mx_sb_len == 64 && hdr->timeout == 10000);
    assert(hdr->iovec_count == 0 && hdr->flags == 0 && hdr->pack_id == 0 && !hdr->usr_ptr);
    assert(hdr->dxfer_direction != SG_DXFER_NONE || (!hdr->dxferp && hdr->dxfer_len == 0));
    touch(hdr->cmdp, hdr->cmd_len);
    touch(hdr->dxferp, hdr->dxfer_len);
    touch(hdr->sbp, hdr->mx_sb_len);
    errno = answer_sg_io(hdr);
    return errno ? -1 : 0;
}
