#include "workflows/smart_page.h"

#include "base/dump.h"
#include "base/settings.h"
#include "device/bytes.h"

#include <algorithm>

constexpr uint64_t structure_revision = 16;
constexpr size_t num_slots = 30;
constexpr size_t first_slot = 2;
constexpr size_t slot_size = 12;
constexpr size_t raw_in_slot = 5;
constexpr size_t raw_bytes_taken = 4;
constexpr uint8_t untouched = 0xA5;

unsigned ATA_checksum(const uint8_t *data, size_t nbytes)
{
    uint8_t sum = 0;
    for (size_t i = 0; i < nbytes; ++i)
        sum = static_cast<uint8_t>(sum + data[i]);
    return sum;
}

std::vector<SMART> get_SMART_records(Dev *device)
{
    if (device->interface != interface_ata) return {};

    /* A back-end that leaves the page untouched must be caught by the checksum. */
    uint8_t page[smart_page_size];
    std::fill(std::begin(page), std::end(page), untouched);
    if (ATA_checksum(page, sizeof page) == 0) page[0] = static_cast<uint8_t>(~page[0]);
    device->get_SMART(device, page);
    if (verbose) dump("SMART data", page, sizeof page);
    if (ATA_checksum(page, sizeof page) != 0 || get_le(page, 2) != structure_revision) return {};

    std::vector<SMART> records(num_slots + 1);
    for (size_t i = 0; i < num_slots; ++i) {
        const uint8_t *slot = page + first_slot + i * slot_size;
        if (slot[0] == 0) continue;
        const auto raw = static_cast<int32_t>(get_le(slot + raw_in_slot, raw_bytes_taken));
        records[i] = {.id = slot[0], .raw = static_cast<uint64_t>(static_cast<int64_t>(raw))};
    }
    return records;
}
