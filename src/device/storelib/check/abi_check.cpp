/* abi_check.cpp - holds our declarations of the controller library's interface against the maker's own
 * headers, for whoever has them. Not part of the build: see VANDREL_STORELIB_HEADERS in src/CMakeLists.txt.
 * Compiling is the check. */
#include <cstddef>
#include <cstdint>

#include VANDREL_STORELIB_HEADER

namespace ours
{
#include "device/storelib/abi.h"
}

#define SAME_SIZE(type) static_assert(sizeof(::type) == sizeof(ours::type), #type " differs in size")
#define SAME_PLACE(type, field)                                             \
    static_assert(offsetof(::type, field) == offsetof(ours::type, field) && \
                      sizeof(::type::field) == sizeof(ours::type::field),   \
                  #type "." #field " stands elsewhere or has another size")

SAME_SIZE(_SL_LIB_CMD_PARAM_T);
SAME_PLACE(_SL_LIB_CMD_PARAM_T, cmdType);
SAME_PLACE(_SL_LIB_CMD_PARAM_T, cmd);
SAME_PLACE(_SL_LIB_CMD_PARAM_T, AppsSupportEXTConfig);
SAME_PLACE(_SL_LIB_CMD_PARAM_T, ctrlId);
SAME_PLACE(_SL_LIB_CMD_PARAM_T, pdRef);
SAME_PLACE(_SL_LIB_CMD_PARAM_T, dataSize);
SAME_PLACE(_SL_LIB_CMD_PARAM_T, pData);

SAME_SIZE(SL_CTRL_LIST_T);
SAME_PLACE(SL_CTRL_LIST_T, count);
SAME_PLACE(SL_CTRL_LIST_T, ctrlId);

SAME_SIZE(_MR_CTRL_INFO);
SAME_PLACE(_MR_CTRL_INFO, pci.vendorId);
SAME_PLACE(_MR_CTRL_INFO, pci.deviceId);

SAME_SIZE(_MR_PD_ADDRESS);
SAME_PLACE(_MR_PD_ADDRESS, deviceId);
SAME_PLACE(_MR_PD_ADDRESS, enclDeviceId);
SAME_PLACE(_MR_PD_ADDRESS, enclIndex);
SAME_PLACE(_MR_PD_ADDRESS, slotNumber);
SAME_PLACE(_MR_PD_ADDRESS, scsiDevType);
SAME_PLACE(_MR_PD_ADDRESS, sasAddr);

/* The maker's list ends in an array of one entry, ours in room for all we ask for. */
static_assert(offsetof(::_MR_PD_LIST, size) == offsetof(ours::_MR_PD_LIST, size));
static_assert(offsetof(::_MR_PD_LIST, count) == offsetof(ours::_MR_PD_LIST, count));
static_assert(offsetof(::_MR_PD_LIST, addr) == offsetof(ours::_MR_PD_LIST, addr));

SAME_SIZE(_MR_PD_INFO);
SAME_PLACE(_MR_PD_INFO, inquiryData);
SAME_PLACE(_MR_PD_INFO, scsiDevType);
SAME_PLACE(_MR_PD_INFO, state);
SAME_PLACE(_MR_PD_INFO, rawSize);
SAME_PLACE(_MR_PD_INFO, enclDeviceId);
SAME_PLACE(_MR_PD_INFO, enclIndex);
SAME_PLACE(_MR_PD_INFO, slotNumber);

static_assert(offsetof(::_SL_SCSI_PASSTHRU_T, dataSize) == offsetof(ours::_SL_SCSI_PASSTHRU_T, dataSize));
SAME_PLACE(_SL_SCSI_PASSTHRU_T, targetId);
SAME_PLACE(_SL_SCSI_PASSTHRU_T, cmd);
SAME_PLACE(_SL_SCSI_PASSTHRU_T, lun);
SAME_PLACE(_SL_SCSI_PASSTHRU_T, dir);
SAME_PLACE(_SL_SCSI_PASSTHRU_T, timeout);
SAME_PLACE(_SL_SCSI_PASSTHRU_T, scsiStatus);
SAME_PLACE(_SL_SCSI_PASSTHRU_T, cdbLength);
SAME_PLACE(_SL_SCSI_PASSTHRU_T, cdb);
SAME_PLACE(_SL_SCSI_PASSTHRU_T, pRequestSenseData);

SAME_SIZE(_REGISTER_HOST_TO_DEVICE_FIS_LBA48);
SAME_PLACE(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Command);
SAME_PLACE(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Features);
SAME_PLACE(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, LBALow_0_7);
SAME_PLACE(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Device);
SAME_PLACE(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, LBALowExp_24_31);
SAME_PLACE(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, FeaturesExp);
SAME_PLACE(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Control);

SAME_PLACE(_SL_STP_PASSTHRU_T, targetId);
SAME_PLACE(_SL_STP_PASSTHRU_T, dir);
SAME_PLACE(_SL_STP_PASSTHRU_T, timeout);
SAME_PLACE(_SL_STP_PASSTHRU_T, stpFlags);
SAME_PLACE(_SL_STP_PASSTHRU_T, fis);
SAME_PLACE(_SL_STP_PASSTHRU_T, connectionStatus);
SAME_PLACE(_SL_STP_PASSTHRU_T, fisResponseLen);
SAME_PLACE(_SL_STP_PASSTHRU_T, dataLen);
