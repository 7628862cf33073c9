/* drives.cpp - targets for what directly attached drives answer. */
#include "input.h"

#include "device/bytes.h"
#include "device/cdb.h"
#include "device/identity.h"
#include "device/sgen/caching.h"
#include "device/sgen/identify.h"
#include "device/sgen/transport.h"
#include "workflows/smart_page.h"

#include <strings.h>

void identify(input &)
{
    Dev dev = fake_dev(interface_ata);
    if (sgen::get_ATA_info(&dev)) {
        assert(is_text(dev.model, 40) && is_text(dev.rev, 8) && is_text(dev.serial, 20));
        for (const text *t : {&dev.model, &dev.rev, &dev.serial})
            assert((*t)->empty() || !isspace(static_cast<uint8_t>((*t)->front())));
    }
    sgen::get_fw_version(&dev);
    assert(!dev.target_rev || is_text(dev.target_rev, 8));
}

/* INQUIRY data and the unit serial number page, of whatever lengths they claim. */
void inquiry(input &in)
{
    Dev dev = fake_dev(interface_scsi);
    dev.vendor = in.line();
    dev.model = in.line();
    sgen::get_SCSI_serial(&dev);
    const bool is_short = strcasecmp(dev.vendor->c_str(), "SEAGATE") == 0 && dev.serial != "<unknown>";
    assert(is_text(dev.serial, is_short ? 8 : UINT16_MAX));
    sgen::get_fw_version(&dev);
    assert(!dev.target_rev || is_text(dev.target_rev, 4));
    assert(!sgen::rdcap(&dev) || dev.blklen <= UINT32_MAX);

    const std::vector<uint8_t> data(in.left.begin(), in.left.end()); /* in room of exactly that size */
    for (const text_field &field : {inquiry_vendor, inquiry_model, inquiry_revision})
        assert(is_text(extract_string(data.data(), data.size(), field), field.length));
}

/* The caching mode page: what goes back to the drive is what came from it, but for two bits. */
void mode_page(input &in)
{
    Dev dev = fake_dev(interface_scsi);
    const uint32_t rcd = in.number(1);
    assert(sgen::set_RCD(&dev, rcd) <= 1);
    if (sent.empty()) return;
    const size_t page = size_t{4} + received[3];
    assert(sent.size() == received.size() && page + 2 < sent.size());
    assert((sent[page] & 0xBF) == 8 && (sent[page + 2] & 1) == rcd % 2);
    sent[page] |= received[page] & 0x80;
    sent[page + 2] ^= 1;
    assert(sent == received);
}

static uint8_t smart_data[smart_page_size];

/* The S.M.A.R.T. data page as it comes or, so that its attributes are reached, with a good checksum. */
void smart_page(input &in)
{
    Dev dev = fake_dev(interface_ata);
    const bool is_mended = in.number(1) % 2 != 0;
    memset(smart_data, 0, sizeof smart_data);
    in.take(smart_data, sizeof smart_data);
    const unsigned sum = ATA_checksum(smart_data, sizeof smart_data);
    if (is_mended) smart_data[smart_page_size - 1] -= static_cast<uint8_t>(sum);
    dev.get_SMART = [](Dev *, uint8_t *page) {
        memcpy(page, smart_data, sizeof smart_data);
        return 1;
    };

    const std::vector<SMART> records = get_SMART_records(&dev);
    assert(records.empty() == !((sum == 0 || is_mended) && get_le(smart_data, 2) == 16));
    for (size_t i = 0; i < records.size(); ++i)
        assert(records[i].id == (i < 30 ? smart_data[2 + 12 * i] : 0) &&
               records[i].raw + (1U << 31) <= UINT32_MAX);
}

/* Status and sense data. */
void sense(input &in)
{
    Dev dev = fake_dev(interface_scsi);
    cdb_t cdb = {};
    in.take(cdb, sizeof cdb);
    std::vector<uint8_t> data(in.number(1));
    const size_t cdblen = in.number(1) % (sizeof cdb + 1);
    const int done = sgen::scsi_cmd_in(&dev, cdb, cdblen, data.data(), data.size());
    assert(done ? scsi_error == 0 : scsi_error >> 20 == 0);
}
