#include "device/storelib/library.h"

#include <utility>

namespace storelib
{

uint32_t call_library(const Dev *dev, _SL_LIB_CMD_PARAM_T *request)
{
    request->ctrlId = dev->ctrlId;
    request->pdRef.deviceId = static_cast<uint16_t>(dev->drv);
    return reinterpret_cast<ProcessLibCommandFunc>(dev->ProcessLibCommand)(request);
}

reply pass_through(const Dev *dev, uint8_t cmd, std::vector<uint8_t> buffer)
{
    _SL_LIB_CMD_PARAM_T request = {};
    request.cmdType = SL_PASSTHRU_CMD_TYPE;
    request.cmd = cmd;
    request.dataSize = static_cast<uint32_t>(buffer.size());
    request.pData = buffer.data();
    const uint32_t status = call_library(dev, &request);
    return {.ok = status == 0, .status = status, .buffer = std::move(buffer)};
}

} // namespace storelib
