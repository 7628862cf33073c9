/* sg_transport.h - the kernel's SCSI generic driver in front of a simulated drive. */
#pragma once

#include "rehearsal/machine/machine.h"

#include <scsi/sg.h>

namespace rehearsal
{

/* Answers one SG_IO request: runs the command and fills in what the driver fills in. Returns 0, or the errno
 * with which the driver would fail the request. */
int answer_sg_io(const machine &m, const drive_profile &profile, sg_io_hdr_t &header);

} // namespace rehearsal
