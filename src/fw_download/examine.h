/* examine.h - asks a drive what it is and how it can be sent an image. Changes nothing in it. */
#pragma once

#include "fw_download/plan.h"

namespace fw_download
{

struct findings {
    bool is_ata = false;
    std::string revision; /* of the firmware that runs */
    plan way;
};

/* Asks the drive, and tells the operator what it is, under the name `place`, and of a condition that a
 * download may not be good for. A status other than exit_done comes after a message. */
exit_status examine(const drive &d, const std::string &place, size_t image_size, const node_limits &limits,
                    findings *f);

} // namespace fw_download
