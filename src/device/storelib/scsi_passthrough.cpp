#include "base/settings.h"
#include "device/cdb.h"
#include "device/storelib/passthrough.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace storelib
{

constexpr uint16_t timeout_s = 10;

uint32_t call_library(const Dev *dev, _SL_LIB_CMD_PARAM_T *request)
{
    request->ctrlId = dev->ctrlId;
    request->pdRef.deviceId = static_cast<uint16_t>(dev->drv);
    return reinterpret_cast<ProcessLibCommandFunc>(dev->ProcessLibCommand)(request);
}

namespace
{
/* A pass-through request under way: the library's header, then the data. */
struct scsi_request {
    std::vector<uint8_t> buffer;
    uint8_t scsi_status;
};
} // namespace

/* Sends one command with `size` bytes of data; `out` (may be null) is what is sent. Returns 1 when the
 * library carried it out, else 0. */
static int send(Dev *dev, uint8_t dir, const uint8_t *cdb, size_t cdblen, const void *out, size_t size,
                scsi_request *req)
{
    *req = {};
    if (cdblen == 0 || cdblen > cdb_size) return 0; /* no command that could be sent */

    _SL_SCSI_PASSTHRU_T header = {};
    header.targetId = static_cast<uint16_t>(dev->drv);
    header.cmd = SL_CMD_OP_PD_SCSI;
    header.dir = dir;
    header.timeout = timeout_s;
    header.cdbLength = static_cast<uint8_t>(cdblen);
    memcpy(header.cdb, cdb, cdblen);
    header.dataSize = static_cast<uint32_t>(size);

    req->buffer.assign(sizeof header + size, 0);
    memcpy(req->buffer.data(), &header, sizeof header);
    if (out && size > 0) memcpy(req->buffer.data() + sizeof header, out, size);

    _SL_LIB_CMD_PARAM_T request = {};
    request.cmdType = SL_PASSTHRU_CMD_TYPE;
    request.cmd = SL_SCSI_PASSTHRU;
    request.dataSize = static_cast<uint32_t>(req->buffer.size());
    request.pData = req->buffer.data();
    const uint32_t rval = call_library(dev, &request);
    req->scsi_status = req->buffer[offsetof(_SL_SCSI_PASSTHRU_T, scsiStatus)];
    return rval == 0;
}

static void report_scsi_status(const scsi_request &req)
{
    fprintf(stderr, "Scsi status: 0x%X\n", req.scsi_status);
}

int SCSI_cmd_nodata(Dev *dev, const uint8_t *cdb, size_t cdblen)
{
    scsi_request req;
    if (send(dev, SL_DIR_NONE, cdb, cdblen, nullptr, 0, &req)) return 1;
    if (verbose || req.scsi_status != 0) report_scsi_status(req);
    return 0;
}

int SCSI_cmd_in(Dev *dev, const uint8_t *cdb, size_t cdblen, void *buffer, size_t size)
{
    scsi_request req;
    if (!send(dev, SL_DIR_READ, cdb, cdblen, nullptr, size, &req)) {
        report_scsi_status(req);
        return 0;
    }
    if (size > 0) memcpy(buffer, req.buffer.data() + sizeof(_SL_SCSI_PASSTHRU_T), size);
    return 1;
}

int SCSI_cmd_out(Dev *dev, const uint8_t *cdb, size_t cdblen, const void *buffer, size_t size)
{
    scsi_request req;
    if (send(dev, SL_DIR_WRITE, cdb, cdblen, buffer, size, &req)) return 1;
    report_scsi_status(req);
    return 0;
}

} // namespace storelib
