/* sysfs.h - what the kernel's sysfs tells of SCSI hosts and devices. */
#pragma once

#include "base/text.h"

#include <cstdint>
#include <string>

namespace sgen
{

constexpr char scsi_device_root[] = "/sys/class/scsi_device";
constexpr char scsi_host_root[] = "/sys/class/scsi_host";

/* The first line of a file, cut at its first character that is not printable; absent when the file can't be
 * opened or is empty. */
text get_first_line_from_file(const char *pathname);

/* The unsigned decimal number a file starts with; 0 when there is none or the file can't be opened. */
unsigned get_uint_from_file(const char *pathname);

/* The last component of a symbolic link's target; absent when it can't be read. */
text link_target_name(const std::string &path);

/* "<scsi_device_root>/<hcil>/device", and "/<attribute>" behind it. */
std::string device_dir(const std::string &hcil);
std::string device_attribute(const std::string &hcil, const char *attribute);

/* True when SCSI host `host` belongs to a driver whose disks are none of ours: USB mass storage, and the RAID
 * controller's own driver, whose drives are reached through the controller. */
bool ignore_host(uint32_t host);

/* Name of the block device of the SCSI device named hcil (host:channel:target:lun); "sdX", with a message,
 * when it can't be determined. */
std::string find_block(const std::string &hcil);

} // namespace sgen
