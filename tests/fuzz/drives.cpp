/* drives.cpp - targets for what directly attached drives answer. */
#include "fakes.h"

#include "device/bytes.h"
#include "device/cdb.h"
#include "device/identity.h"
#include "device/sgen/identify.h"
#include "device/sgen/operations.h"
#include "workflows/smart_page.h"

#include <strings.h>

void identify(input &)
{
    const auto dev = fake_drive(interface_ata);
    if (sgen::get_ATA_info(dev.get())) {
        assert(is_text(dev->model, 40) && is_text(dev->rev, 8) && is_text(dev->serial, 20));
        for (const text *t : {&dev->model, &dev->rev, &dev->serial})
            assert((*t)->empty() || !isspace(static_cast<uint8_t>((*t)->front())));
    }
    sgen::get_fw_version(dev.get());
    assert(!dev->target_rev || is_text(dev->target_rev, 8));
}

/* INQUIRY data and the unit serial number page, of whatever lengths they claim. */
void inquiry(input &in)
{
    const auto dev = fake_drive(interface_scsi);
    dev->vendor = in.line();
    dev->model = in.line();
    sgen::get_SCSI_serial(dev.get());
    const bool is_short = strcasecmp(dev->vendor->c_str(), "SEAGATE") == 0 && dev->serial != "<unknown>";
    assert(is_text(dev->serial, is_short ? 8 : UINT16_MAX));
    sgen::get_fw_version(dev.get());
    assert(!dev->target_rev || is_text(dev->target_rev, 4));
    assert(!sgen::rdcap(dev.get()) || dev->blklen <= UINT32_MAX);

    const std::vector<uint8_t> data(in.left.begin(), in.left.end()); /* in room of exactly that size */
    for (const text_field &field : {inquiry_vendor, inquiry_model, inquiry_revision})
        assert(is_text(extract_string(data.data(), data.size(), field), field.length));
}

/* The caching mode page: what goes back to the drive is what came from it, but for two bits. */
void mode_page(input &in)
{
    const auto dev = fake_drive(interface_scsi);
    const uint32_t rcd = in.number(1);
    assert(sgen::set_RCD(dev.get(), rcd) <= 1);
    if (last.sent.empty()) return;
    const size_t page = size_t{4} + last.received[3];
    assert(last.sent.size() == last.received.size() && page + 2 < last.sent.size());
    assert((last.sent[page] & 0xBF) == 8 && (last.sent[page + 2] & 1) == rcd % 2);
    last.sent[page] |= last.received[page] & 0x80;
    last.sent[page + 2] ^= 1;
    assert(last.sent == last.received);
}

static bool is_mended;
static uint8_t page_read[smart_page_size];

/* The S.M.A.R.T. data page as it comes or, so that its attributes are reached, made a good one. */
void smart_page(input &in)
{
    const auto dev = fake_drive(interface_ata);
    is_mended = in.number(1) % 2 != 0;
    dev->get_SMART = [](Dev *d, uint8_t *page) {
        const int result = sgen::get_SMART(d, page);
        if (is_mended) {
            put_be(page, 0x1000, 2); /* structure revision 16 */
            page[smart_page_size - 1] -= static_cast<uint8_t>(ATA_checksum(page, smart_page_size));
        }
        memcpy(page_read, page, smart_page_size);
        return result;
    };
    const std::vector<SMART> records = get_SMART_records(dev.get());
    assert(records.empty() ? !is_mended : records.size() == 31 && records.back().id == 0);
    for (size_t i = 0; i + 1 < records.size(); ++i) {
        const uint8_t *slot = page_read + 2 + 12 * i;
        const auto raw = static_cast<int32_t>(get_le(slot + 5, 4));
        assert(records[i].id == slot[0]);
        assert(slot[0] == 0 || records[i].raw == static_cast<uint64_t>(int64_t{raw}));
    }
}

/* Status and sense data. */
void sense(input &in)
{
    const auto dev = fake_drive(interface_scsi);
    cdb_t cdb = {};
    in.take(cdb, sizeof cdb);
    std::vector<uint8_t> data(in.number(1));
    const int done =
        sgen::scsi_cmd_in(dev.get(), cdb, in.number(1) % (sizeof cdb + 1), data.data(), data.size());

    const sg_io_hdr &hdr = last.hdr;
    const bool is_clean = hdr.masked_status == 0 && (hdr.driver_status & 0xF) == 0 && hdr.host_status == 0;
    const bool has_registers = hdr.masked_status == 1 && last.sense[0] == 0x72 && (last.sense[1] & 0xF) == 1;
    assert(done == (last.result == 0 && (is_clean || has_registers)));
    assert(scsi_error >> 20 == 0 && (!done || scsi_error == 0));
}
