/* sysfs_tree.h - what the kernel would show of the machine's directly attached drives. */
#pragma once

#include "rehearsal/machine/machine.h"

#include <string>

namespace rehearsal
{

/* Builds sys/ and dev/ of the rehearsal directory anew, each drive with the firmware that it runs now: the
 * kernel, too, reads a revision only when the machine starts. With is_without_scsi the kernel has no SCSI at
 * all. An empty result means success, else it says what failed. */
std::string build_sysfs(const machine &m, bool is_without_scsi);

} // namespace rehearsal
