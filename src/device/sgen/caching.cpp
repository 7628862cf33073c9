#include "device/sgen/caching.h"

#include "base/dump.h"
#include "base/trace.h"
#include "device/cdb.h"
#include "device/sgen/transport.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace sgen
{

constexpr uint32_t caching_page = 8;
constexpr uint32_t current_values = 0;
/* MODE SENSE(6) header: data length, medium type, parameter, descriptor length. */
constexpr size_t mode_header_size = 4;
constexpr size_t descriptor_length_at = 3;
constexpr size_t rcd_byte = 2; /* in the page */
constexpr uint8_t rcd_bit = 0x01;
constexpr uint8_t page_code_mask = 0x3F; /* of the page's first byte */
constexpr uint8_t ps_bit = 0x80;         /* "page is savable", reserved in MODE SELECT */

static bool mode_sense_caching(Dev *dev, std::vector<uint8_t> *data)
{
    cdb_t cdb;
    const size_t cdblen =
        build_CDB(cdb, MODE_SENSE_6, 0, data->size(), CDB_MODE_SENSE_DBD, 1, CDB_MODE_SENSE_PC,
                  current_values, CDB_MODE_SENSE_PAGE_CODE, caching_page, CDB_OPTION_END);
    return scsi_cmd_in(dev, cdb, cdblen, data->data(), data->size()) != 0;
}

/* True when the reply holds the caching page where its header says that the page starts, up to the RCD bit.
 * Another page, or zeros where a short reply ended, must not be sent back to the drive as its new settings.
 */
static bool holds_caching_page(const std::vector<uint8_t> &data)
{
    if (data.size() < mode_header_size) return false;
    const size_t received = std::min(data.size(), static_cast<size_t>(data[0]) + 1);
    const size_t page = mode_header_size + data[descriptor_length_at];
    return page + rcd_byte < received && (data[page] & page_code_mask) == caching_page;
}

/* Reads header and page: first the header for its length, then as much. Empty, with a message, on refusal and
 * when the page is not in what came. */
static std::vector<uint8_t> read_caching_page(Dev *dev)
{
    std::vector<uint8_t> data(mode_header_size);
    if (mode_sense_caching(dev, &data)) {
        data.assign(static_cast<size_t>(data[0]) + 1, 0);
        if (mode_sense_caching(dev, &data)) {
            dump("Caching mode page 8h (pre)", data.data(), data.size());
            if (holds_caching_page(data)) return data;
        }
    }
    say("Failed to MODE SENSE Caching mode page 8h\n");
    return {};
}

uint32_t set_RCD(Dev *dev, uint32_t rcd)
{
    rcd %= 2;
    std::vector<uint8_t> data = read_caching_page(dev);
    if (data.empty()) return 0;

    uint8_t *page = data.data() + mode_header_size + data[descriptor_length_at];
    const uint32_t old = page[rcd_byte] & rcd_bit;
    trace("OLD RCD=%u, new rcd=%u\n", old, rcd);
    if (old == rcd) return old;

    page[0] = static_cast<uint8_t>(page[0] & ~ps_bit);
    page[rcd_byte] = static_cast<uint8_t>((page[rcd_byte] & ~rcd_bit) | rcd);
    dump("Caching mode page 8h (post)", data.data(), data.size());

    cdb_t cdb;
    const size_t cdblen =
        build_CDB(cdb, MODE_SELECT_6, 0, data.size(), CDB_MODE_SELECT_SP, 0, CDB_OPTION_END);
    if (!scsi_cmd_out(dev, cdb, cdblen, data.data(), data.size())) {
        say("Failed to MODE SELECT Caching mode page 8h\n");
        return 0;
    }
    return old;
}

} // namespace sgen
