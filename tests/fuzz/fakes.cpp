#include "fakes.h"

#include "base/settings.h"
#include "device/storelib/abi.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include <sanitizer/asan_interface.h>
#include <scsi/sg.h>

std::string file_content;
std::vector<uint8_t> sent;
std::vector<uint8_t> received;
static input *answers;
static char library_handle;

void TARGET(input &in);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const int buffered = setvbuf(stderr, nullptr, _IOFBF, BUFSIZ); /* traces are many */
    input in = {.left = std::string_view(reinterpret_cast<const char *>(data), size)};
    answers = &in;
    sent.clear();
    verbose = static_cast<int>(buffered == 0 && size % 2 != 0);
    TARGET(in);
    return 0;
}

uint32_t input::number(size_t nbytes)
{
    uint32_t value = 0;
    take(&value, nbytes);
    return value;
}

std::string input::line()
{
    const std::string text(left.substr(0, left.find('\n')));
    left.remove_prefix(std::min(left.size(), text.size() + 1));
    return text.c_str(); /* as C would read it */
}

/* All of the room that is offered must be there. */
static bool is_room(void *start, size_t size)
{
    return size == 0 || (start && !__asan_region_is_poisoned(start, size));
}

static uint32_t answer_library(_SL_LIB_CMD_PARAM_T *request)
{
    assert(is_room(request->pData, request->dataSize));
    if (answers->left.empty()) return MFI_STAT_DEVICE_NOT_FOUND;
    for (size_t len; request->dataSize > 0 && (len = answers->number(1)) != 0;) {
        const size_t at = answers->number(2) % request->dataSize;
        answers->take(static_cast<uint8_t *>(request->pData) + at, std::min(len, request->dataSize - at));
    }
    return answers->number(1) == 0 ? 0 : answers->number(2);
}

std::unique_ptr<Dev, free_dev> fake_drive(char interface)
{
    std::unique_ptr<Dev, free_dev> dev(new_dev({}));
    dev->interface = interface;
    dev->fd = INT16_MAX;
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
        hdr->masked_status = static_cast<uint8_t>(answers->number(1));
        hdr->sb_len_wr = static_cast<uint8_t>(answers->number(1));
        hdr->host_status = static_cast<uint16_t>(answers->number(2));
        hdr->driver_status = static_cast<uint16_t>(answers->number(2));
        answers->take(hdr->sbp, std::min(hdr->sb_len_wr, hdr->mx_sb_len));
    }
    const bool is_out = hdr->dxfer_direction == SG_DXFER_TO_DEV;
    if (!is_out) answers->take(data, hdr->dxfer_len);
    (is_out ? sent : received).assign(data, data + hdr->dxfer_len);
    errno = EIO;
    return hdr->masked_status == UINT8_MAX ? -1 : 0;
}

FILE *__wrap_fopen64(const char *, const char *)
{
    return fmemopen(file_content.data(), file_content.size(), "r");
}

void *__wrap_dlopen(const char *, int)
{
    return &library_handle;
}

int __wrap_dlclose(void *)
{
    return 0;
}

void *__wrap_dlsym(void *handle, const char *name)
{
    return handle == &library_handle ? reinterpret_cast<void *>(answer_library) : __real_dlsym(handle, name);
}
}
