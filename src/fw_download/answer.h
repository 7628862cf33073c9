/* answer.h - judges how a command ended from what the kernel's pass-through tells of it. */
#pragma once

#include "fw_download/command.h"

namespace fw_download
{

/* What the pass-through told, in its own terms. */
struct answer {
    int error = 0;                       /* errno when the request was not accepted */
    bool is_lost = false;                /* host or driver status tell of a failure */
    int host_status = 0;                 /* DID_... */
    std::string host_text = {};          /* the library's words for both */
    int status = 0;                      /* SCSI status */
    std::span<const uint8_t> sense = {}; /* only as long as it was written */
    bool is_ata = false;                 /* of ATA PASS-THROUGH: fixed sense data hold registers, too */
};

/* The outcome without received and duration_ms. RECOVERED ERROR and NO SENSE in current sense data are
 * success; a host or driver status is a failure whatever the SCSI status says. */
outcome judge(const answer &a);

/* All of the sense data, decoded, in lines. */
std::string decoded_sense(std::span<const uint8_t> sense);

} // namespace fw_download
