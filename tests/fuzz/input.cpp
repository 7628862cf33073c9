#include "input.h"

#include "base/files.h"
#include "base/settings.h"

#include <cerrno>
#include <cstdio>

std::string file_content;
std::vector<uint8_t> sent;
std::vector<uint8_t> received;
static char library_handle;

void TARGET(input &in);

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

static uint32_t library_answer(input *in, _SL_LIB_CMD_PARAM_T *request)
{
    if (in->left.empty()) return MFI_STAT_DEVICE_NOT_FOUND;
    for (size_t len; request->dataSize > 0 && (len = in->number(1)) != 0;) {
        const size_t at = in->number(2) % request->dataSize;
        in->take(static_cast<uint8_t *>(request->pData) + at, std::min(len, request->dataSize - at));
    }
    return in->number(1) == 0 ? 0 : in->number(2);
}

static int sg_answer(input *in, sg_io_hdr *hdr)
{
    if (in->number(1) != 0) {
        hdr->masked_status = static_cast<uint8_t>(in->number(1));
        hdr->sb_len_wr = static_cast<uint8_t>(in->number(1));
        hdr->host_status = static_cast<uint16_t>(in->number(2));
        hdr->driver_status = static_cast<uint16_t>(in->number(2));
        in->take(hdr->sbp, std::min(hdr->sb_len_wr, hdr->mx_sb_len));
    }
    const bool is_out = hdr->dxfer_direction == SG_DXFER_TO_DEV;
    auto *data = static_cast<uint8_t *>(hdr->dxferp);
    if (!is_out) in->take(data, hdr->dxfer_len);
    (is_out ? sent : received).assign(data, data + hdr->dxfer_len);
    return hdr->masked_status == UINT8_MAX ? EIO : 0;
}

/* In open_data_file's place. */
file_ptr open_content(const char *) asm("__wrap__Z14open_data_filePKc");
file_ptr open_content(const char *)
{
    return file_ptr(fmemopen(file_content.data(), file_content.size(), "r"));
}

extern "C" {
int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const int buffered = setvbuf(stderr, nullptr, _IOFBF, BUFSIZ); /* traces are many */
    input in = {.left = std::string_view(reinterpret_cast<const char *>(data), size)};
    answer_library = [&in](_SL_LIB_CMD_PARAM_T *request) { return library_answer(&in, request); };
    answer_sg_io = [&in](sg_io_hdr *hdr) { return sg_answer(&in, hdr); };
    sent.clear();
    verbose = static_cast<int>(buffered == 0 && size % 2 != 0);
    TARGET(in);
    return 0;
}

void *__wrap_dlopen(const char *, int)
{
    return &library_handle;
}

int __wrap_dlclose(void *)
{
    return 0;
}

void *__real_dlsym(void *handle, const char *name);

void *__wrap_dlsym(void *handle, const char *name)
{
    return handle == &library_handle ? reinterpret_cast<void *>(library_entry) : __real_dlsym(handle, name);
}
}
