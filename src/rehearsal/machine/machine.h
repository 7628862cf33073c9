/* machine.h - a rehearsal directory and the drives in it.
 *     machine        the inventory, as it was when the rehearsal began
 *     state/ADDRESS  what has changed of a drive since (drive_state.h)
 *     commands.log   everything sent to a drive and every run of a flashing tool, in order
 *     sleeps.log     every pause that a program asked for
 *     sys/, dev/     what stands for /sys and /dev
 *     tmp/, run/     the update script, the diagnostics switch and the lock: one place on a machine
 *     root/          the tree given to the program with -R */
#pragma once

#include "rehearsal/profile/drive_profile.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace rehearsal
{

/* Names the rehearsal directory to the preloaded library and to the stand-ins. */
constexpr char dir_variable[] = "VANDREL_REHEARSAL";

/* The flashing tool that ships, below the root; without it the stand-in flashes every drive. */
constexpr char shipped_tool_path[] = "sbin/vandrel-fw-download";

struct machine {
    std::string dir; /* absolute */
    std::vector<drive_profile> drives;

    std::string inventory_path() const { return dir + "/machine"; }
    std::string state_dir() const { return dir + "/state"; }
    std::string root_dir() const { return dir + "/root"; }
    std::string sys_dir() const { return dir + "/sys"; }
    std::string dev_dir() const { return dir + "/dev"; }
    std::string sleep_log_path() const { return dir + "/sleeps.log"; }
};

/* The machine that this process belongs to; null outside a rehearsal or when it cannot be read. */
std::unique_ptr<const machine> read_machine();

/* The same, read once and kept until the process ends. */
const machine *current_machine();

/* The first directly attached drive with this host and target, or null. */
const drive_profile *find_direct_drive(const machine &m, unsigned host, unsigned target);

/* The first drive at this place behind a controller, or null. */
const drive_profile *find_controller_drive(const machine &m, unsigned controller, unsigned enclosure,
                                           unsigned slot);

/* Appends "LABEL TEXT" to the command log; a drive's label is its own. */
void log_event(const machine &m, std::string_view label, std::string_view text);
void log_event(const machine &m, const drive_profile &profile, std::string_view text);

} // namespace rehearsal
