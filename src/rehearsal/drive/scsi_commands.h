/* scsi_commands.h - the SCSI command set of a simulated disk (SPC-4, SBC-3), as far as anyone here asks. */
#pragma once

#include "rehearsal/drive/drive_state.h"
#include "rehearsal/profile/command.h"

#include <optional>
#include <string>

namespace rehearsal
{

/* The four characters of revision in standard INQUIRY data. Of an ATA drive's eight, translation shows the
 * last four, or the first four when those are blank. */
std::string inquiry_revision(const drive_profile &profile, const drive_state &state);

/* The unit attention that waits, in place of the answer to a command with this operation code; nothing where
 * none waits or the command must always be carried out (SAM). It is told once. */
std::optional<reply> unit_attention(drive_state &state, uint8_t code);

/* The answer of a drive that is busy with firmware it has taken; nothing where it is not. */
std::optional<reply> not_ready(const drive_state &state, uint8_t code);

/* The answer to a command block of at least 6 bytes; cut to the allocation length in it. MODE SELECT changes
 * state. */
reply run_scsi_command(const drive_profile &profile, drive_state &state, const request &req);

} // namespace rehearsal
