/* after.h - what became of a drive that took an image. */
#pragma once

#include "fw_download/command.h"

namespace fw_download
{

/* Waits until the drive is ready and answers, reads its revision anew and says what runs: the new one, or
 * still the old one until a power cycle. deadline_ms is a time of the drive's clock. Returns false, with a
 * message, when the drive does not come back until then, or vanished. */
bool tell_new_revision(const drive &d, bool is_ata, const std::string &old_revision, int64_t deadline_ms);

} // namespace fw_download
