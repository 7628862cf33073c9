/* simulated_drive.h - a drive that answers commands, whatever transport brings them. */
#pragma once

#include "rehearsal/drive/drive_state.h"
#include "rehearsal/profile/command.h"

#include <string>

namespace rehearsal
{

/* Runs one command on the drive: its answer or the fault that the inventory asks for, at most req.data.size()
 * bytes moved, the drive's state kept. The sense data is cut by the transport. */
outcome run_command(const machine &m, const drive_profile &profile, const request &req);

/* The command as the log has it, "in 12 00 00 00 60 00 len=96", and what became of it, "ok". */
std::string describe(const request &req);
std::string describe(const outcome &out, const request &req);

} // namespace rehearsal
