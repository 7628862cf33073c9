/* simulated_drive.h - a drive that answers commands, whatever transport brings them. */
#pragma once

#include "command.h"
#include "drive_state.h"

namespace rehearsal
{

/* Runs one command on the drive: its answer or the fault that the inventory asks for, at most req.data.size()
 * bytes moved, the drive's state kept, the command logged. The sense data is cut by the transport. */
outcome run_command(const machine &m, const drive_spec &spec, const request &req);

} // namespace rehearsal
