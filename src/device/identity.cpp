#include "device/identity.h"

#include "device/bytes.h"
#include "device/cdb.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <strings.h>

constexpr uint32_t vpd_unit_serial_number = 0x80;
constexpr size_t short_serial_len = 8;

/* Cut at a NUL: what follows one would be neither shown nor compared by anything that takes it for text. */
static void end_at_nul(std::string &s)
{
    s.resize(strlen(s.c_str()));
}

std::string ATA_strdup(const uint8_t *ptr, unsigned first, unsigned last)
{
    std::string s;
    for (unsigned word = first; word <= last; ++word) {
        const uint8_t *stored = ptr + size_t{2} * word;
        s.push_back(static_cast<char>(stored[1]));
        s.push_back(static_cast<char>(stored[0]));
    }
    stripblanks(s);
    end_at_nul(s);
    return s;
}

std::string extract_string(const uint8_t *data, size_t nbytes, const text_field &field)
{
    if (field.offset >= nbytes) return {};
    const size_t len = std::min(field.length, nbytes - field.offset);
    std::string s(reinterpret_cast<const char *>(data) + field.offset, len);
    strip_trailing_space(s);
    end_at_nul(s);
    return s;
}

static bool inquire_serial_page(Dev *dev, data_in_command *scsi_cmd_in, std::vector<uint8_t> *page)
{
    cdb_t cdb;
    const size_t cdblen =
        build_CDB(cdb, INQUIRY, 0, page->size(), CDB_VPD, vpd_unit_serial_number, CDB_OPTION_END);
    return scsi_cmd_in(dev, cdb, cdblen, page->data(), page->size()) != 0;
}

std::vector<uint8_t> read_serial_page(Dev *dev, data_in_command *scsi_cmd_in)
{
    std::vector<uint8_t> page(vpd_header_size);
    if (!inquire_serial_page(dev, scsi_cmd_in, &page)) return {};
    page.assign(get_be(page.data() + 2, 2) + vpd_header_size, 0);
    if (!inquire_serial_page(dev, scsi_cmd_in, &page)) return {};
    return page;
}

static bool has_short_serial(const text &vendor, const text &model)
{
    return (vendor && strcasecmp(vendor->c_str(), "SEAGATE") == 0) ||
           (model && strncasecmp(model->c_str(), "ST", 2) == 0);
}

std::string extract_serial(const uint8_t *page, size_t nbytes, const text &vendor, const text &model)
{
    if (nbytes < vpd_header_size) return {};
    const uint8_t *start = page + vpd_header_size;
    const uint8_t *end = page + nbytes;
    while (start < end && isspace(*start))
        ++start;

    std::string serial(start, end);
    if (serial.size() > short_serial_len && has_short_serial(vendor, model)) serial.resize(short_serial_len);
    end_at_nul(serial);
    return serial;
}

void set_ATA_identity(Dev *dev, const uint8_t *identify)
{
    dev->vendor = "ATA";
    dev->model = ATA_strdup(identify, identify_model.first, identify_model.last);
    dev->rev = ATA_strdup(identify, identify_revision.first, identify_revision.last);
    dev->serial = ATA_strdup(identify, identify_serial.first, identify_serial.last);
}
