#include "device/storelib/identify.h"

#include "base/dump.h"
#include "base/settings.h"
#include "base/trace.h"
#include "device/cdb.h"
#include "device/identity.h"
#include "device/storelib/ata_passthrough.h"
#include "device/storelib/controller.h"
#include "device/storelib/scsi_passthrough.h"

#include <cstdio>

namespace storelib
{

constexpr uint16_t tirsel_3_vendor = 0x1000;
constexpr uint16_t tirsel_3_device = 0x005B;

static void show_identity(const Dev *dev)
{
    trace("Vendor=\"%s\", Model=\"%s\", Rev=\"%s\", Serial=\"%s\"\n", shown_on(stderr, dev->vendor).c_str(),
          shown_on(stderr, dev->model).c_str(), shown_on(stderr, dev->rev).c_str(),
          shown_on(stderr, dev->serial).c_str());
}

static bool standard_inquiry(Dev *dev, uint8_t *data)
{
    cdb_t cdb;
    const size_t cdblen = build_CDB(cdb, INQUIRY, 0, inquiry_size, CDB_OPTION_END);
    return SCSI_cmd_in(dev, cdb, cdblen, data, inquiry_size) != 0;
}

static void get_device_info_SCSI(Dev *dev)
{
    trace("get_device_info_SCSI(dev=%p)\n", static_cast<void *>(dev));
    uint8_t data[inquiry_size] = {};
    if (standard_inquiry(dev, data)) {
        if (verbose) dump("INQUIRY data", data, sizeof data);
        dev->vendor = extract_string(data, sizeof data, inquiry_vendor);
        dev->model = extract_string(data, sizeof data, inquiry_model);
        dev->rev = extract_string(data, sizeof data, inquiry_revision);
    }

    const std::vector<uint8_t> page = read_serial_page(dev, SCSI_cmd_in);
    if (page.empty()) return;
    if (verbose) dump("INQUIRY VPD80", page.data(), page.size());
    dev->serial = extract_serial(page.data(), page.size(), dev->vendor, dev->model);
    show_identity(dev);
}

static bool identify_device(Dev *dev, uint8_t *data)
{
    return SATA_cmd_in(dev, ATA_IDENTIFY_DEVICE, 0, 0, 0, data, identify_size) != 0;
}

static void get_device_info_SATA(Dev *dev)
{
    trace("get_device_info_SATA(dev=%p)\n", static_cast<void *>(dev));
    uint8_t data[identify_size] = {};
    if (!identify_device(dev, data)) return;
    if (verbose) dump("IDENTIFY DEVICE data", data, sizeof data);
    set_ATA_identity(dev, data);
    show_identity(dev);
}

void get_device_info(Dev *dev)
{
    if (dev->interface == interface_scsi) get_device_info_SCSI(dev);
    if (dev->interface == interface_ata) get_device_info_SATA(dev);
}

void get_fw_version(Dev *dev)
{
    if (dev->interface == interface_scsi) {
        uint8_t data[inquiry_size] = {};
        if (standard_inquiry(dev, data))
            dev->target_rev = extract_string(data, sizeof data, inquiry_revision);
        return;
    }
    uint8_t data[identify_size] = {};
    if (identify_device(dev, data))
        dev->target_rev = ATA_strdup(data, identify_revision.first, identify_revision.last);
}

int get_SMART(Dev *dev, uint8_t *dst)
{
    return SATA_cmd_in(dev, ATA_SMART, ATA_SMART_READ_DATA, 0, ATA_SMART_SIGNATURE, dst, smart_page_size);
}

int is_Tirsel_3(Dev *dev)
{
    const controller *ctrl = dev->controller;
    return ctrl && ctrl->pci_vendor_id == tirsel_3_vendor && ctrl->pci_device_id == tirsel_3_device;
}

} // namespace storelib
