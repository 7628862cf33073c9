/* identity.h - the texts in which a drive names itself, cut out of INQUIRY, VPD and IDENTIFY DEVICE data. */
#pragma once

#include "base/text.h"
#include "device/dev.h"

#include <cstddef>
#include <cstdint>
#include <vector>

constexpr size_t identify_size = 512; /* IDENTIFY DEVICE data (ACS) */
constexpr size_t inquiry_size = 96;   /* standard INQUIRY data as this program asks for it (SPC) */
constexpr size_t vpd_header_size = 4; /* peripheral byte, page code, page length (big-endian) */

/* Word ranges of IDENTIFY DEVICE data, inclusive. */
struct identify_words {
    unsigned first;
    unsigned last;
};
constexpr identify_words identify_serial = {10, 19};
constexpr identify_words identify_revision = {23, 26};
constexpr identify_words identify_model = {27, 46};

/* Fields of standard INQUIRY data (and of the vendor part of some VPD pages). */
struct text_field {
    size_t offset;
    size_t length;
};
constexpr text_field inquiry_vendor = {8, 8};
constexpr text_field inquiry_model = {16, 16};
constexpr text_field inquiry_revision = {32, 4};

/* The text in words first to last (inclusive) of 512 bytes of IDENTIFY DEVICE data: two characters a
 * little-endian word, the first in its high byte. Leading and trailing white space is dropped. */
std::string ATA_strdup(const uint8_t *ptr, unsigned first, unsigned last);

/* The text of a fixed-width field of `nbytes` bytes of data: what of it lies inside the data, less trailing
 * white space, ended by a NUL if one stands in it. Leading white space is kept. */
std::string extract_string(const uint8_t *data, size_t nbytes, const text_field &field);

/* A back-end's way to send a command that receives data (see scsi_cmd_in in dev.h). */
using data_in_command = int(Dev *dev, const uint8_t *cdb, size_t cdblen, void *datap, size_t datalen);

/* Reads the unit serial number page (SPC, VPD page 80h) whole, header included: first its length, then as
 * much. Empty when the drive refuses it; bytes that the drive did not send are 0. */
std::vector<uint8_t> read_serial_page(Dev *dev, data_in_command *scsi_cmd_in);

/* The serial number in a unit serial number page of `nbytes` bytes: what stands behind its header, less
 * leading white space. Drives of one maker append further characters to theirs: theirs are cut to 8. */
std::string extract_serial(const uint8_t *page, size_t nbytes, const text &vendor, const text &model);

/* Takes vendor ("ATA"), model, rev and serial from IDENTIFY DEVICE data. */
void set_ATA_identity(Dev *dev, const uint8_t *identify);
