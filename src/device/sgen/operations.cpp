#include "device/sgen/operations.h"

#include "device/cdb.h"
#include "device/sgen/ata_passthrough.h"
#include "device/sgen/transport.h"

namespace sgen
{

void init_sgen(const text &) {}

void exit_sgen() {}

int get_SMART(Dev *dev, uint8_t *dst)
{
    cdb_t cdb;
    const size_t cdblen = build_SAT_cdb(cdb, ATA_SMART, ATA_SMART_READ_DATA, 1, ATA_SMART_SIGNATURE);
    return cdblen != 0 && scsi_cmd_in(dev, cdb, cdblen, dst, smart_page_size);
}

std::unique_ptr<Cmd> fw_update(Dev *dev)
{
    return build_Cmd({"fw_download", "-b" + std::to_string(static_cast<int>(dev->unit_host)),
                      "-t" + std::to_string(static_cast<int>(dev->slot_id)), "-l",
                      dev->image ? dev->image : "", "-n", "-DDD"});
}

int is_Tirsel_3(Dev *)
{
    return 0;
}

void get_device_info(Dev *) {}

} // namespace sgen
