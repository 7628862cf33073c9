/* after.h - what became of a drive that took an image. */
#pragma once

#include "fw_download/command.h"

namespace fw_download
{

enum class aftermath { told, failed, vanished };

/* Waits until the drive is ready and answers, reads its revision anew and says what runs: the new one, or
 * still the old one until a power cycle. The old one is believed after some seconds: a drive may restart a
 * moment after it took an image. deadline_ms is a time of the drive's clock. A failure comes after a message;
 * a drive that vanished, which is the way of some to restart, without. */
aftermath tell_new_revision(const drive &d, bool is_ata, const std::string &old_revision,
                            int64_t deadline_ms);

} // namespace fw_download
