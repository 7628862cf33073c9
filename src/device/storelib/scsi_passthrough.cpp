#include "device/storelib/scsi_passthrough.h"

#include "base/settings.h"
#include "base/trace.h"
#include "device/cdb.h"
#include "device/storelib/library.h"

#include <cstring>

namespace storelib
{

constexpr uint16_t timeout_s = 10;
constexpr size_t data_at = sizeof(_SL_SCSI_PASSTHRU_T);

/* Sends one command with `size` bytes of data; `out` (may be null) is what is sent. */
static reply send(Dev *dev, uint8_t dir, const uint8_t *cdb, size_t cdblen, const void *out, size_t size)
{
    if (cdblen == 0 || cdblen > cdb_size) return {}; /* no command that could be sent */

    _SL_SCSI_PASSTHRU_T header = {};
    header.targetId = static_cast<uint16_t>(dev->drv);
    header.cmd = SL_CMD_OP_PD_SCSI;
    header.dir = dir;
    header.timeout = timeout_s;
    header.cdbLength = static_cast<uint8_t>(cdblen);
    memcpy(header.cdb, cdb, cdblen);
    header.dataSize = static_cast<uint32_t>(size);

    std::vector<uint8_t> buffer = buffer_of(header, size);
    if (out && size > 0) memcpy(buffer.data() + data_at, out, size);
    return pass_through(dev, SL_SCSI_PASSTHRU, std::move(buffer));
}

/* Tells the SCSI status of a command that failed. One that was not sent has none, and one without data that
 * failed with status 0 is worth no word in a quiet run. */
static void report_failure(const reply &r, bool has_data)
{
    if (r.buffer.empty()) return;
    const uint8_t status = r.buffer[offsetof(_SL_SCSI_PASSTHRU_T, scsiStatus)];
    if (has_data || status != 0 || verbose) say("Scsi status: 0x%X\n", status);
}

int SCSI_cmd_nodata(Dev *dev, const uint8_t *cdb, size_t cdblen)
{
    const reply r = send(dev, SL_DIR_NONE, cdb, cdblen, nullptr, 0);
    if (!r.ok) report_failure(r, false);
    return r.ok;
}

int SCSI_cmd_in(Dev *dev, const uint8_t *cdb, size_t cdblen, void *buffer, size_t size)
{
    const reply r = send(dev, SL_DIR_READ, cdb, cdblen, nullptr, size);
    if (!r.ok) report_failure(r, true);
    if (r.ok && size > 0) memcpy(buffer, r.buffer.data() + data_at, size);
    return r.ok;
}

int SCSI_cmd_out(Dev *dev, const uint8_t *cdb, size_t cdblen, const void *buffer, size_t size)
{
    const reply r = send(dev, SL_DIR_WRITE, cdb, cdblen, buffer, size);
    if (!r.ok) report_failure(r, true);
    return r.ok;
}

} // namespace storelib
