#include "fakes.h"

#include "base/settings.h"
#include "device/storelib/abi.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include <sanitizer/asan_interface.h>

std::string file_content;
sg_traffic last;
static input *answers;
static char library; /* its address is the handle */

void set_input(input *in)
{
    static const int buffered =
        setvbuf(stderr, nullptr, _IOFBF, BUFSIZ); /* traces must not slow the fuzzer down */
    assert(buffered == 0);
    answers = in;
    last = {};
    verbose = static_cast<int>(in->left.size() % 2); /* every other input tries the traces */
}

/* All of the room that is offered must really be there. */
static bool is_room(void *start, size_t size)
{
    return size == 0 || (start && !__asan_region_is_poisoned(start, size));
}

static uint32_t answer_library(_SL_LIB_CMD_PARAM_T *request)
{
    assert(is_room(request->pData, request->dataSize));
    if (answers->left.empty()) return MFI_STAT_DEVICE_NOT_FOUND;
    answers->patch(static_cast<uint8_t *>(request->pData), request->dataSize);
    return answers->number(1) == 0 ? 0 : answers->number(2);
}

std::unique_ptr<Dev, free_dev> fake_drive(char interface)
{
    std::unique_ptr<Dev, free_dev> dev(new_dev());
    dev->fd = INT16_MAX;
    dev->interface = interface;
    dev->ProcessLibCommand = reinterpret_cast<void *>(answer_library);
    return dev;
}

extern "C" {
void *__real_dlsym(void *handle, const char *name);

int __wrap_ioctl(int, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    auto *hdr = va_arg(args, sg_io_hdr *);
    va_end(args);
    auto *data = static_cast<uint8_t *>(hdr->dxferp);
    assert(is_room(hdr->cmdp, hdr->cmd_len) && is_room(data, hdr->dxfer_len) &&
           is_room(hdr->sbp, hdr->mx_sb_len));
    if (answers->number(1) != 0) {
        answers->take(&hdr->masked_status, 1);
        answers->take(&hdr->sb_len_wr, 1);
        answers->take(&hdr->host_status, 2);
        answers->take(&hdr->driver_status, 2);
        answers->take(hdr->sbp, std::min(hdr->sb_len_wr, hdr->mx_sb_len));
    }
    const bool is_out = hdr->dxfer_direction == SG_DXFER_TO_DEV;
    if (!is_out) answers->take(data, hdr->dxfer_len);
    (is_out ? last.sent : last.received).assign(data, data + hdr->dxfer_len);
    last.hdr = *hdr;
    memcpy(last.sense, hdr->sbp, sizeof last.sense);
    errno = EIO;
    return last.result = hdr->masked_status == UINT8_MAX ? -1 : 0;
}

FILE *__wrap_fopen64(const char *, const char *)
{
    return fmemopen(file_content.data(), file_content.size(), "r");
}

void *__wrap_dlopen(const char *, int)
{
    return &library;
}

void *__wrap_dlsym(void *handle, const char *name)
{
    return handle == &library ? reinterpret_cast<void *>(answer_library) : __real_dlsym(handle, name);
}

int __wrap_dlclose(void *)
{
    return 0;
}
}
