/* send.h - sends an image: the part that must not be disturbed. */
#pragma once

#include "fw_download/plan.h"

namespace fw_download
{

/* Sends the whole image by the first of the attempts whose first segment the drive takes, in order, nothing
 * twice, and activates it where the attempt says so. Tells of progress, and of a failure with its segment and
 * layer. Signals wait until it is over. deadline_ms is a time of the drive's clock: no command starts that
 * may take longer, as a drive that writes its firmware must not be aborted; only an activation, after all was
 * taken, is sent at any time. Returns true when the drive took all. */
bool send_image(const drive &d, std::span<const attempt> attempts, std::span<const uint8_t> image,
                int64_t deadline_ms);

} // namespace fw_download
