/* plan.h - decides how an image may be sent, from what the drive offers and the machine carries. Sends
 * nothing. */
#pragma once

#include "fw_download/ata_drive.h"
#include "fw_download/blocks.h"
#include "fw_download/exit_status.h"
#include "fw_download/scsi_drive.h"

#include <vector>

namespace fw_download
{

constexpr size_t max_scsi_image = size_t{1} << 24;          /* BUFFER OFFSET has 24 bits */
constexpr size_t max_ata_image = size_t{65535} * ata_block; /* offset and count have 16 bits of blocks */

/* What this machine carries in one command, in bytes. */
struct node_limits {
    uint32_t sure = 0; /* however its memory lies; 0: not known */
    uint32_t most = 0; /* never more than this; 0: not known */
    /* The host's own translator may go by COUNT, whose low byte is all that it has of a length. */
    bool has_own_translator = false;
};

/* One way of sending the image: commands of `segment` bytes, the last with what is left. */
struct attempt {
    carrier by;
    download_mode mode;
    uint32_t segment;
    bool is_activated; /* with a command of its own after the last segment */
};

/* In the order in which they are tried: the next one only when a drive refuses the first segment of the one
 * before. Without attempts `status` and `reason` say why. */
struct plan {
    std::vector<attempt> attempts;
    exit_status status = exit_done;
    std::string reason;
};

plan plan_scsi(const scsi_offer &offered, size_t image_size, const node_limits &limits);
plan plan_ata(const ata_offer &offered, size_t image_size, const node_limits &limits);

/* "WRITE BUFFER mode 07h, 32 segments of 32768 bytes". */
std::string describe(const attempt &a, size_t image_size);

size_t num_segments(const attempt &a, size_t image_size);

} // namespace fw_download
