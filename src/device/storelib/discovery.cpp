#include "device/storelib/discovery.h"

#include "base/trace.h"
#include "device/dev.h"
#include "device/identity.h"
#include "device/storelib/controller.h"
#include "device/storelib/identify.h"
#include "device/storelib/log_pages.h"
#include "device/storelib/operations.h"
#include "device/storelib/scsi_passthrough.h"

#include <algorithm>
#include <cstdio>

namespace storelib
{

namespace
{
struct interface_type {
    uint8_t val;
    char letter; /* for Dev.interface */
    const char *string;
};
} // namespace

static constexpr dev_operations storelib_operations = {
    .do_load_unload = do_unload_load,
    .get_SMART = get_SMART,
    .fw_update = fw_update,
    .start_locate = start_locate,
    .end_locate = end_locate,
    .dump_all_log_pages = dump_all_log_pages,
    .get_fw_version = get_fw_version,
    .scsi_cmd_out = SCSI_cmd_out,
    .scsi_cmd_in = SCSI_cmd_in,
    .is_Tirsel_3 = is_Tirsel_3,
    .get_device_info = get_device_info,
};

static const interface_type iftype[] = {
    {0, 0,              "Unknown"      },
    {1, interface_scsi, "parallel SCSI"},
    {2, interface_scsi, "SAS"          },
    {3, interface_ata,  "SATA"         },
    {4, 0,              "FC"           },
};
static const interface_type undefined_iftype = {0, 0, "Not defined"};

constexpr uint8_t type_disk = 0;
constexpr unsigned long controller_block_bytes = 512; /* whatever the drive's own blocks are */
constexpr size_t adapter_size = 5;
/* The top byte of a controller's id tells the library, not the controller. */
constexpr uint32_t adapter_mask = 0xFFFF;

static const interface_type &find_interface_type(uint8_t val)
{
    for (const interface_type &type : iftype)
        if (type.val == val) return type;
    return undefined_iftype;
}

/* Fills `list` with the controller's drives. Returns true, or false after a message. */
static bool read_drive_list(const controller *ctrl, _MR_PD_LIST *list)
{
    _SL_LIB_CMD_PARAM_T request = {};
    request.cmdType = SL_CTRL_CMD_TYPE;
    request.cmd = SL_GET_PD_LIST;
    request.ctrlId = ctrl->ctrlId;
    request.dataSize = sizeof *list;
    request.pData = list;
    const uint32_t rval = ctrl->ProcessLibCommand(&request);
    if (rval == 0) return true;
    if (rval == SL_ERR_INVALID_CTRL)
        say("Invalid controller\n");
    else
        say("Error getting Physical Drive List: %#x\n", rval);
    return false;
}

static bool read_drive_info(const controller *ctrl, uint16_t deviceId, _MR_PD_INFO *pd_info)
{
    _SL_LIB_CMD_PARAM_T request = {};
    request.cmdType = SL_PD_CMD_TYPE;
    request.cmd = SL_GET_PD_INFO;
    request.ctrlId = ctrl->ctrlId;
    request.pdRef.deviceId = deviceId;
    request.dataSize = sizeof *pd_info;
    request.pData = pd_info;
    const uint32_t rval = ctrl->ProcessLibCommand(&request);
    if (rval == 0) return true;
    trace("    SL_GET_PD_INFO failed: %#x\n", rval);
    return false;
}

/* Takes from the controller's copy of the INQUIRY data what the drive itself did not tell. A blank text that
 * it told stands. */
static void fill_from_inquiry(Dev *dev, const _MR_PD_INFO &pd_info)
{
    const auto fill = [&pd_info](text *t, const text_field &field) {
        if (!*t) *t = extract_string(pd_info.inquiryData, sizeof pd_info.inquiryData, field);
    };
    fill(&dev->vendor, inquiry_vendor);
    fill(&dev->model, inquiry_model);
    fill(&dev->rev, inquiry_revision);
}

/* Record of one drive of the controller, ready for the list; null when it does not belong there. */
static dev_ptr scan_one_drive(GList *devlist, controller *ctrl, uint16_t deviceId)
{
    _MR_PD_INFO pd_info = {};
    if (!read_drive_info(ctrl, deviceId, &pd_info)) return nullptr;
    if (pd_info.scsiDevType != type_disk) {
        trace("    Not a DISK (type=%u)\n", pd_info.scsiDevType);
        return nullptr;
    }
    const auto interface_val = static_cast<uint8_t>(pd_info.state[1] >> 4);
    const interface_type &type = find_interface_type(interface_val);
    trace("    interfaceType=%s (%u)\n", type.string, interface_val);

    dev_ptr dev(new_dev(storelib_operations));
    dev->unit_host = pd_info.enclDeviceId;
    dev->slot_id = pd_info.slotNumber;
    dev->ctrlId = ctrl->ctrlId;
    dev->drv = deviceId;
    dev->controller = ctrl;
    dev->ProcessLibCommand = reinterpret_cast<void *>(ctrl->ProcessLibCommand);
    dev->interface = type.letter;
    get_device_info(dev.get());
    fill_from_inquiry(dev.get(), pd_info);
    dev->maxlba = pd_info.rawSize - 1;
    dev->blklen = controller_block_bytes;
    dev->adapter = format_text(adapter_size, "%u", ctrl->ctrlId & adapter_mask);
    if (!is_new_device(devlist, dev.get())) return nullptr;
    return dev;
}

/* Adds the drives of one controller; user_data points to the device list's head. They are asked one after the
 * other: nobody promises that the library may be called by two threads. */
static void scan_devices_controller(gpointer data, gpointer user_data)
{
    auto *ctrl = static_cast<controller *>(data);
    auto *devlistp = static_cast<GList **>(user_data);
    trace("scan_devices_controller(data/ctrl=%p, user_data/devlistp=%p), devlist=%p\n", data, user_data,
          static_cast<void *>(*devlistp));
    const auto list = std::make_unique<_MR_PD_LIST>();
    if (!read_drive_list(ctrl, list.get())) return;
    ctrl->num_drives = list->count;
    trace("%s controller #%u has %u drives\n", ctrl->soname, ctrl->ctrlId, list->count);

    /* More than the list can hold are not there. */
    const uint32_t count = std::min<uint32_t>(list->count, SL_MAX_PDS);
    for (uint32_t i = 0; i < count; ++i) {
        const _MR_PD_ADDRESS &entry = list->addr[i];
        trace("    %u: deviceId=%#x sasAddr=%#llx/%#llx\n", i, entry.deviceId,
              static_cast<unsigned long long>(entry.sasAddr[0]),
              static_cast<unsigned long long>(entry.sasAddr[1]));
        dev_ptr dev = scan_one_drive(*devlistp, ctrl, entry.deviceId);
        if (dev) *devlistp = g_list_insert_sorted(*devlistp, dev.release(), compare_devices);
    }
}

GList *scan_devices_storelib(GList *devlist)
{
    g_list_foreach(known_controllers(), scan_devices_controller, &devlist);
    return devlist;
}

} // namespace storelib
