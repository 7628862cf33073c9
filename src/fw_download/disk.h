/* disk.h - finds a disk by its address as sysfs has it. */
#pragma once

#include "fw_download/plan.h"

#include <string>
#include <vector>

namespace fw_download
{

struct disk {
    std::string address; /* H:C:T:L */
    std::string node;    /* of the SCSI generic driver, below /dev; empty when there is none */
    std::string block;   /* name of the block device; empty when there is none */
    bool operator==(const disk &) const = default;
};

/* The disks (device type 0, so no enclosure) at this host and target, whatever their channel and unit. */
std::vector<disk> find_disks(unsigned host, unsigned target);

/* What the disk's queue, as the kernel tells, takes in one command. */
node_limits read_limits(const disk &d);

/* The first line of a sysfs file without blanks around it; empty when there is none. */
std::string read_line(const std::string &path);

/* The names in a directory but "." and "..", sorted; none when it can't be read. */
std::vector<std::string> names_in(const std::string &path);

} // namespace fw_download
