/* ata_drive.h - what an ATA drive behind a translator says of itself. */
#pragma once

#include "fw_download/command.h"

#include <array>
#include <optional>

namespace fw_download
{

/* IDENTIFY DEVICE data: words, little-endian. */
using identify_data = std::array<uint8_t, 512>;

/* Nothing when the drive does not answer, or with something that is no such data (bad checksum, no ATA
 * device); *how, if given, is what came of the question. */
std::optional<identify_data> ask_identify(const drive &d, outcome *how = nullptr);

std::string identify_model(const identify_data &data);
std::string identify_revision(const identify_data &data);

/* What an ATA drive says of its ways of downloading. */
struct ata_offer {
    bool is_offered = false; /* DOWNLOAD MICROCODE at all */
    bool has_dma = false;    /* also as DOWNLOAD MICROCODE DMA */
    bool offsets = false;    /* subcommand 03h */
    bool defer = false;      /* 0Eh and 0Fh; asked for only where 03h is missing */
    uint16_t min_blocks = 0; /* of a segment; 0: not told */
    uint16_t max_blocks = 0;
};

ata_offer ask_ata_offer(const drive &d, const identify_data &data);

/* Tells the operator of a drive that is not ready or whose S.M.A.R.T. thresholds are passed. */
void tell_ata_condition(const drive &d);

} // namespace fw_download
