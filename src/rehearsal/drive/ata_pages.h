/* ata_pages.h - the 512-byte pages that an ATA drive delivers. Words are little-endian. */
#pragma once

#include "rehearsal/drive/drive_state.h"
#include "rehearsal/profile/command.h"

namespace rehearsal
{

/* IDENTIFY DEVICE data. */
reply identify_page(const drive_profile &profile, const drive_state &state);

/* Page 03h of the IDENTIFY DEVICE data log (30h): subcommands 0Eh and 0Fh of DOWNLOAD MICROCODE are there. */
reply capabilities_page();

/* SMART READ DATA: structure revision 16, the usual attributes, those of the inventory put in or added. */
reply smart_data_page(const drive_profile &profile);

} // namespace rehearsal
