/* smart_page.h - the attribute table of an ATA drive's S.M.A.R.T. data page (ATA8-ACS, SMART READ DATA). */
#pragma once

#include "device/dev.h"

#include <cstdint>
#include <vector>

struct SMART {
    uint8_t id;   /* 0 ends the records */
    uint64_t raw; /* raw bytes 0 to 3, as a signed value widened */
};

/* Reads the drive's attributes. Returns a record for each slot of the page, an empty one's id being 0, and a
 * last one with id 0; so reading up to the first id 0 ends at the first empty slot. Returns nothing for a
 * drive that is not ATA, and for a page that was not read, has a bad checksum or another structure. */
std::vector<SMART> get_SMART_records(Dev *device);

/* The sum of the bytes modulo 256; 0 means a good page. */
unsigned ATA_checksum(const uint8_t *data, size_t nbytes);
