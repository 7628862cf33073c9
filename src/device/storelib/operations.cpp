#include "device/storelib/operations.h"

#include "base/files.h"
#include "base/settings.h"
#include "base/signals.h"
#include "base/trace.h"
#include "device/cdb.h"
#include "device/storelib/ata_passthrough.h"
#include "device/storelib/controller.h"
#include "device/storelib/library.h"
#include "device/storelib/scsi_passthrough.h"

#include <cstdio>
#include <vector>

namespace storelib
{

enum flashing_tool { storcli, MegaCli };
static const char *const flashing_tools[] = {"storcli", "MegaCli", nullptr}; /* in order of preference */

static void cycle_SCSI(Dev *dev, uint32_t count)
{
    std::vector<uint8_t> block(dev->blklen);
    cdb_t load;
    cdb_t unload;
    /* Force unit access: the medium is read, whatever a cache holds. */
    const size_t load_len = build_CDB(load, READ_16, 0, 1, CDB_FUA, 1, CDB_OPTION_END);
    const size_t unload_len = build_CDB(unload, READ_16, dev->maxlba, 1, CDB_FUA, 1, CDB_OPTION_END);

    trace("Initial Load");
    SCSI_cmd_in(dev, load, load_len, block.data(), block.size());
    trace("\n");
    for (uint32_t i = 0; i < count && !hold_signals::is_pending(); ++i) {
        trace("Unload");
        SCSI_cmd_in(dev, unload, unload_len, block.data(), block.size());
        trace(" Load");
        SCSI_cmd_in(dev, load, load_len, block.data(), block.size());
        trace("\n");
    }
}

static void cycle_SATA(Dev *dev, uint32_t count)
{
    const uint8_t far_command = dev->maxlba <= ATA_MAX_LBA_28_BIT ? ATA_READ_VERIFY : ATA_READ_VERIFY_EXT;
    for (uint32_t i = 0; i < count && !hold_signals::is_pending(); ++i) {
        SATA_cmd_nodata(dev, ATA_READ_VERIFY, 0, 1, 0);
        SATA_cmd_nodata(dev, far_command, 0, 1, dev->maxlba);
    }
}

void do_unload_load(Dev *dev, uint32_t count)
{
    const bool is_ata = dev->interface == interface_ata;
    trace("Doing UNLOAD/LOAD on %s device %s\n", is_ata ? "SATA" : "SCSI", device_name(dev));
    const hold_signals hold; /* a request to end the program is obeyed between two cycles */
    if (is_ata)
        cycle_SATA(dev, count);
    else
        cycle_SCSI(dev, count);
}

static std::vector<std::string> storcli_words(const Dev *dev, const std::string &image)
{
    std::vector<std::string> words = {"storcli",
                                      std::string("/c") + shown(dev->adapter) + "/e" +
                                          std::to_string(dev->unit_host) + "/s" +
                                          std::to_string(dev->slot_id),
                                      "download", "src=" + image};
    /* What its vendor's drives want stands in a table that this layer does not know. */
    unsigned mode;
    const controller *ctrl = dev->controller;
    if (ctrl && ctrl->find_mode && ctrl->find_mode(dev, &mode))
        words.push_back("mode=" + std::to_string(mode));
    return words;
}

static std::vector<std::string> MegaCli_words(const Dev *dev, const std::string &image)
{
    return {"MegaCli", "-PdFwDownload",
            "-PhysDrv[" + std::to_string(static_cast<int>(dev->unit_host)) + ":" +
                std::to_string(static_cast<int>(dev->slot_id)) + "]",
            "-f" + image, std::string("-a") + shown(dev->adapter)};
}

std::unique_ptr<Cmd> fw_update(Dev *dev)
{
    trace("fw_update(Adp%s Un%u Drv%u)\n", shown(dev->adapter), dev->unit_host, dev->slot_id);
    const int index = check_executable(flashing_tools);
    if (index == -1) return nullptr;
    if (verbose) {
        say("    -> idx %d\n", index);
        say("       %s\n", flashing_tools[index]);
    }
    const std::string image = dev->image ? dev->image : "";
    return build_Cmd(index == storcli ? storcli_words(dev, image) : MegaCli_words(dev, image));
}

/* Sends a locate command; `what` names it in the message of a failure. */
static void locate(Dev *dev, uint8_t cmd, const char *what)
{
    _SL_LIB_CMD_PARAM_T request = {};
    request.cmdType = SL_PD_CMD_TYPE;
    request.cmd = cmd;
    const uint32_t rval = call_library(dev, &request);
    switch (rval) {
    case 0:
        break;
    case MFI_STAT_DEVICE_NOT_FOUND:
    case MFI_STAT_NOT_IN_ENCL:
        say("StoreLib::locate(): Invalid drive %u\n", dev->drv);
        break;
    case SL_ERR_INVALID_CTRL:
        say("StoreLib::locate(): Invalid controller %u\n", dev->ctrlId);
        break;
    default:
        say("StoreLib::locate(): %s LOCATE failed, error=%#x\n", what, rval);
    }
}

void start_locate(Dev *dev)
{
    locate(dev, SL_START_LOCATE_PD, "START");
}

void end_locate(Dev *dev)
{
    locate(dev, SL_STOP_LOCATE_PD, "STOP");
}

} // namespace storelib
