/* abi.h - the controller-management library's binary interface, as far as this program uses it: 64-bit
 * layout, natural alignment, little-endian. Names are the library's own. Nothing but the interface stands
 * here, so that it can be held against the maker's own declarations. */
#pragma once

#include <cstddef>
#include <cstdint>

/* Command types and the commands within them. */
enum : uint8_t {
    SL_SYSTEM_CMD_TYPE = 0,
    SL_INIT_LIB = 0,
    SL_EXIT_LIB = 9,

    SL_CTRL_CMD_TYPE = 1,
    SL_GET_CTRL_INFO = 0,
    SL_GET_PD_LIST = 4,

    SL_PD_CMD_TYPE = 2,
    SL_GET_PD_INFO = 0,
    SL_START_LOCATE_PD = 8,
    SL_STOP_LOCATE_PD = 9,

    SL_PASSTHRU_CMD_TYPE = 6,
    SL_SCSI_PASSTHRU = 0,
    SL_STP_PASSTHRU = 2,
};

/* Status codes, as far as they are told apart; 0 is success. */
constexpr uint32_t MFI_STAT_DEVICE_NOT_FOUND = 12;
constexpr uint32_t MFI_STAT_NOT_IN_ENCL = 36;
constexpr uint32_t SL_ERR_INIT_FAILED = 0x8002;
constexpr uint32_t SL_ERR_INVALID_CTRL = 0x800A;
constexpr uint32_t SL_ERR_BUFFER_TOO_SMALL = 0x800C;
constexpr uint32_t SL_ERR_NO_LIBSYSFS = 0x801E;
constexpr uint32_t SL_ERR_ACCESS_LEVEL = 0x802B;
constexpr uint32_t SL_ERR_NO_LIBPCI = 0x802C;

/* Values of the pass-through fields. */
constexpr uint8_t SL_CMD_OP_PD_SCSI = 1;
constexpr uint8_t SL_DIR_NONE = 0;
constexpr uint8_t SL_DIR_WRITE = 1;
constexpr uint8_t SL_DIR_READ = 2;
constexpr uint32_t STP_FLAGS_NON_DATA = 4;
constexpr uint32_t STP_FLAGS_DATA_IN = 0x11;

/* The request block of every call. */
struct _SL_LIB_CMD_PARAM_T {
    uint8_t cmdType;
    uint8_t cmd;
    uint8_t AppsSupportEXTConfig;
    uint8_t reserved;
    uint32_t ctrlId;
    union {
        struct {
            uint16_t deviceId;
            uint16_t seqNum;
        } pdRef;
        uint8_t ref[8];
    };
    uint8_t cmdParam[8];
    uint32_t dataSize; /* of pData, bytes */
    uint32_t padding;
    void *pData;
};
static_assert(sizeof(_SL_LIB_CMD_PARAM_T) == 40);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, cmdType) == 0);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, cmd) == 1);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, AppsSupportEXTConfig) == 2);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, ctrlId) == 4);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, pdRef) == 8);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, pdRef.seqNum) == 10);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, cmdParam) == 16);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, dataSize) == 24);
static_assert(offsetof(_SL_LIB_CMD_PARAM_T, pData) == 32);

/* The library's one entry point. Returns a status code. */
using ProcessLibCommandFunc = uint32_t (*)(_SL_LIB_CMD_PARAM_T *);

constexpr size_t SL_MAX_CTRLS = 64;
constexpr size_t SL_MAX_PDS = 512; /* in the list that this program asks for */

struct SL_CTRL_LIST_T {
    uint16_t count;
    uint8_t flags;
    uint8_t reserved;
    uint32_t ctrlId[SL_MAX_CTRLS];
};
static_assert(sizeof(SL_CTRL_LIST_T) == 260);
static_assert(offsetof(SL_CTRL_LIST_T, count) == 0);
static_assert(offsetof(SL_CTRL_LIST_T, flags) == 2);
static_assert(offsetof(SL_CTRL_LIST_T, ctrlId) == 4);

struct _MR_CTRL_INFO {
    struct {
        uint16_t vendorId;
        uint16_t deviceId;
    } pci;
    uint8_t rest[2044];
};
static_assert(sizeof(_MR_CTRL_INFO) == 2048);
static_assert(offsetof(_MR_CTRL_INFO, pci) == 0);
static_assert(offsetof(_MR_CTRL_INFO, pci.deviceId) == 2);

struct _MR_PD_ADDRESS {
    uint16_t deviceId;
    uint16_t enclDeviceId;
    uint8_t enclIndex;
    uint8_t slotNumber;
    uint8_t scsiDevType;
    uint8_t connectedPorts;
    uint64_t sasAddr[2];
};
static_assert(sizeof(_MR_PD_ADDRESS) == 24);
static_assert(offsetof(_MR_PD_ADDRESS, deviceId) == 0);
static_assert(offsetof(_MR_PD_ADDRESS, enclDeviceId) == 2);
static_assert(offsetof(_MR_PD_ADDRESS, enclIndex) == 4);
static_assert(offsetof(_MR_PD_ADDRESS, slotNumber) == 5);
static_assert(offsetof(_MR_PD_ADDRESS, scsiDevType) == 6);
static_assert(offsetof(_MR_PD_ADDRESS, connectedPorts) == 7);
static_assert(offsetof(_MR_PD_ADDRESS, sasAddr) == 8);

struct _MR_PD_LIST {
    uint32_t size;
    uint32_t count;
    _MR_PD_ADDRESS addr[SL_MAX_PDS];
};
static_assert(sizeof(_MR_PD_LIST) == 12296);
static_assert(offsetof(_MR_PD_LIST, size) == 0);
static_assert(offsetof(_MR_PD_LIST, count) == 4);
static_assert(offsetof(_MR_PD_LIST, addr) == 8);

struct _MR_PD_INFO {
    uint32_t ref;
    uint8_t inquiryData[96]; /* standard SCSI INQUIRY data */
    uint8_t vpdPage83[64];
    uint8_t reserved_164;
    uint8_t scsiDevType;
    uint8_t reserved_166[22];
    uint8_t state[4]; /* ddf.pdType.intf: the top four bits of its second byte */
    uint8_t reserved_192[40];
    uint64_t rawSize; /* 512-byte blocks */
    uint8_t reserved_240[16];
    uint16_t enclDeviceId;
    uint8_t enclIndex;
    uint8_t slotNumber;
    uint8_t reserved_260[252];
};
static_assert(sizeof(_MR_PD_INFO) == 512);
static_assert(offsetof(_MR_PD_INFO, ref) == 0);
static_assert(offsetof(_MR_PD_INFO, inquiryData) == 4);
static_assert(offsetof(_MR_PD_INFO, vpdPage83) == 100);
static_assert(offsetof(_MR_PD_INFO, scsiDevType) == 165);
static_assert(offsetof(_MR_PD_INFO, state) == 188);
static_assert(offsetof(_MR_PD_INFO, rawSize) == 232);
static_assert(offsetof(_MR_PD_INFO, enclDeviceId) == 256);
static_assert(offsetof(_MR_PD_INFO, enclIndex) == 258);
static_assert(offsetof(_MR_PD_INFO, slotNumber) == 259);

/* SCSI pass-through: this header, then dataSize bytes. */
struct _SL_SCSI_PASSTHRU_T {
    uint16_t targetId;
    uint8_t cmd;
    uint8_t lun;
    uint8_t dir;
    uint8_t reserved[3];
    uint16_t timeout; /* seconds */
    uint8_t scsiStatus;
    uint8_t cdbLength;
    uint8_t cdb[16];
    uint8_t pRequestSenseData[32];
    uint32_t dataSize;
};
static_assert(sizeof(_SL_SCSI_PASSTHRU_T) == 64);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, targetId) == 0);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, cmd) == 2);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, lun) == 3);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, dir) == 4);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, timeout) == 8);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, scsiStatus) == 10);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, cdbLength) == 11);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, cdb) == 12);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, pRequestSenseData) == 28);
static_assert(offsetof(_SL_SCSI_PASSTHRU_T, dataSize) == 60);

/* SATA Register Host-to-Device FIS. */
struct _REGISTER_HOST_TO_DEVICE_FIS_LBA48 {
    uint8_t FISType;
    uint8_t CommandBit; /* bit 7 */
    uint8_t Command;
    uint8_t Features;
    uint8_t LBALow_0_7;
    uint8_t LBAMid_8_15;
    uint8_t LBAHigh_16_23;
    uint8_t Device;
    uint8_t LBALowExp_24_31;
    uint8_t LBAMidExp_32_39;
    uint8_t LBAHighExp_40_47;
    uint8_t FeaturesExp;
    uint8_t SectorCount0_7;
    uint8_t SectorCountExp8_15;
    uint8_t Reserved0E;
    uint8_t Control;
    uint8_t Reserved10to14[4];
};
static_assert(sizeof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48) == 20);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, FISType) == 0);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, CommandBit) == 1);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Command) == 2);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Features) == 3);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, LBALow_0_7) == 4);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, LBAMid_8_15) == 5);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, LBAHigh_16_23) == 6);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Device) == 7);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, LBALowExp_24_31) == 8);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, LBAMidExp_32_39) == 9);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, LBAHighExp_40_47) == 10);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, FeaturesExp) == 11);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, SectorCount0_7) == 12);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, SectorCountExp8_15) == 13);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Reserved0E) == 14);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Control) == 15);
static_assert(offsetof(_REGISTER_HOST_TO_DEVICE_FIS_LBA48, Reserved10to14) == 16);

/* ATA pass-through: this header, then the response FIS, then dataLen bytes. */
struct _SL_STP_PASSTHRU_T {
    uint8_t targetId;
    uint8_t dir;
    uint16_t timeout; /* seconds */
    uint32_t stpFlags;
    _REGISTER_HOST_TO_DEVICE_FIS_LBA48 fis;
    uint8_t connectionStatus;
    uint8_t reserved[3];
    uint32_t fisResponseLen;
    uint32_t dataLen;
};
static_assert(sizeof(_SL_STP_PASSTHRU_T) == 40);
static_assert(offsetof(_SL_STP_PASSTHRU_T, targetId) == 0);
static_assert(offsetof(_SL_STP_PASSTHRU_T, dir) == 1);
static_assert(offsetof(_SL_STP_PASSTHRU_T, timeout) == 2);
static_assert(offsetof(_SL_STP_PASSTHRU_T, stpFlags) == 4);
static_assert(offsetof(_SL_STP_PASSTHRU_T, fis) == 8);
static_assert(offsetof(_SL_STP_PASSTHRU_T, connectionStatus) == 28);
static_assert(offsetof(_SL_STP_PASSTHRU_T, fisResponseLen) == 32);
static_assert(offsetof(_SL_STP_PASSTHRU_T, dataLen) == 36);
