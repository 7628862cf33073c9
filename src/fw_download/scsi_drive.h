/* scsi_drive.h - what a drive says of itself over SCSI commands. */
#pragma once

#include "fw_download/command.h"

#include <optional>

namespace fw_download
{

/* What INQUIRY tells; texts without the blanks that fill their fields. */
struct identity {
    uint8_t type = 0; /* peripheral qualifier and device type; 0 is a disk that is there */
    std::string vendor;
    std::string product;
    std::string revision;
};

std::optional<identity> ask_identity(const drive &d);

/* True when a translator stands in front of an ATA drive: the vendor reads "ATA", or there is an ATA
 * Information page (89h). */
bool is_translated(const drive &d, const identity &id);

/* Tells the operator of a drive that is not ready or, as SCSI drives report it, expects its own failure.
 * Neither hinders a download. */
void tell_condition(const drive &d);

enum class offer { unknown, no, yes };

/* What a SCSI drive says of its ways of downloading. */
struct scsi_offer {
    offer offsets = offer::unknown;  /* WRITE BUFFER mode 07h */
    offer whole = offer::unknown;    /* mode 05h */
    offer defer = offer::unknown;    /* mode 0Eh */
    offer activate = offer::unknown; /* mode 0Fh */
    std::optional<uint8_t> boundary; /* offsets are multiples of 2 to this power; FFh: only offset 0 */
    uint32_t capacity = 0;           /* bytes of the buffer; 0: not told */
};

scsi_offer ask_scsi_offer(const drive &d);

} // namespace fw_download
