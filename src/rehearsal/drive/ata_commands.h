/* ata_commands.h - the ATA command set of a simulated disk (ACS-3) and its way through SCSI (SAT-3). */
#pragma once

#include "rehearsal/drive/drive_state.h"
#include "rehearsal/profile/command.h"

#include <optional>
#include <span>

namespace rehearsal
{

/* The registers in an ATA PASS-THROUGH(16) command block; nothing when it is another command. */
std::optional<ata_registers> decode_pass_through(std::span<const uint8_t> cdb);

/* The answer to an ATA command. What the drive does not know ends as ABORTED COMMAND, as through a SATA host.
 */
reply run_ata_command(const drive_profile &profile, drive_state &state, const ata_registers &regs);

} // namespace rehearsal
