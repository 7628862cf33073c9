/* claim.h - makes sure that nobody uses a disk while it is flashed. */
#pragma once

#include "fw_download/disk.h"

#include "base/handles.h"

namespace fw_download
{

/* Opens the disk's block device so that nobody can mount it, swap on it or add it to a set as long as the
 * descriptor lives; an open that asks for no exclusion is still granted by the kernel. Empty with errno set
 * on failure: EBUSY when the disk or a partition of it is in use. */
unique_fd claim_disk(const std::string &block);

/* Who uses the disk and its partitions: mounts, swap, LVM, md and other device-mapper sets; empty when the
 * system's tables name nobody, another program then holds it. */
std::vector<std::string> find_users(const std::string &block);

} // namespace fw_download
