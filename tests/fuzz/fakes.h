/* fakes.h - the outside world as the targets see it: every answer comes out of the input. The targets are
 * linked so that calls of ioctl, fopen and the dynamic loader arrive in fakes.cpp. */
#pragma once

#include "input.h"

#include "device/dev.h"

#include <memory>
#include <vector>

#include <scsi/sg.h>

/* Every file's content, and where the answers come from. */
extern std::string file_content;
void set_input(input *in);

struct free_dev {
    void operator()(Dev *dev) const { free_one_dev(dev); }
};

/* A drive whose record serves both back-ends. Over SG_IO each answer is a byte that is 0 when all goes well,
 * else followed by what goes wrong, and the data. The controller library, which is found anywhere, answers
 * with pieces patched over the request, then a byte that is 0 for success, else followed by a status; in the
 * end everything fails. */
std::unique_ptr<Dev, free_dev> fake_drive(char interface);

/* What went over SG_IO last. */
struct sg_traffic {
    std::vector<uint8_t> received; /* the room for data, filled by the drive or not */
    std::vector<uint8_t> sent;
    sg_io_hdr hdr;
    uint8_t sense[64];
    int result; /* of the request itself */
};
extern sg_traffic last;

/* A text is there, of at most max_len characters and without a NUL. */
inline bool is_text(const text &t, size_t max_len)
{
    return t && t->size() <= max_len && t->find('\0') == std::string::npos;
}
