#include "rehearsal/controllers/controller_passthrough.h"

#include "rehearsal/drive/ata_commands.h"
#include "rehearsal/drive/simulated_drive.h"
#include "rehearsal/text/text.h"

#include <algorithm>
#include <cstring>

namespace rehearsal
{

using command_fis = _REGISTER_HOST_TO_DEVICE_FIS_LBA48;

constexpr size_t fis_len = sizeof(command_fis);
constexpr size_t min_cdb_len = 6;

static bool decode_direction(uint8_t dir, direction &decoded)
{
    static constexpr direction known[] = {direction::none, direction::out, direction::in};
    static_assert(SL_DIR_NONE == 0 && SL_DIR_WRITE == 1 && SL_DIR_READ == 2);
    if (dir >= std::size(known)) return false;
    decoded = known[dir];
    return true;
}

/* How the flags announce the transfer: none, or data by PIO (protocol bit) from the drive. */
static uint32_t flags_of(direction dir)
{
    return dir == direction::none ? STP_FLAGS_NON_DATA : STP_FLAGS_DATA_IN;
}

static uint32_t status_of(const outcome &out)
{
    if (out.error != 0) return MFI_STAT_DEVICE_NOT_FOUND;
    if (out.host_status != 0 || out.driver_status != 0) return drive_did_not_answer;
    return out.status == status_good ? 0 : drive_reported_error;
}

static outcome run_and_note(const machine &m, const drive_profile &profile, const request &req,
                            std::string &note)
{
    outcome out = run_command(m, profile, req);
    note += " " + describe(out, req);
    return out;
}

/* The registers that a command FIS carries. */
static ata_registers decode_fis(const command_fis &fis, uint64_t data_len)
{
    ata_registers regs{};
    regs.command = fis.Command;
    regs.device = fis.Device;
    regs.feature = static_cast<uint16_t>(fis.FeaturesExp << 8 | fis.Features);
    regs.count = static_cast<uint16_t>(fis.SectorCountExp8_15 << 8 | fis.SectorCount0_7);
    const uint8_t lba[] = {fis.LBAHighExp_40_47, fis.LBAMidExp_32_39, fis.LBALowExp_24_31,
                           fis.LBAHigh_16_23,    fis.LBAMid_8_15,     fis.LBALow_0_7};
    regs.lba = get_be(lba, 0, sizeof lba);
    regs.transfer_len = data_len;
    return regs;
}

/* A Register Device-to-Host FIS (SATA): the command's registers, with the drive's status and error. */
static void put_response(std::span<uint8_t> dst, const command_fis &sent, const outcome &out)
{
    constexpr uint8_t ready = 0x50;
    constexpr uint8_t ready_with_error = 0x51;
    constexpr uint8_t error_abort = 0x04;
    const bool is_good = out.status == status_good;
    command_fis fis = sent;
    fis.FISType = 0x34;
    fis.CommandBit = 0;
    fis.Command = is_good ? ready : ready_with_error;
    fis.Features = is_good ? 0 : error_abort;
    fis.FeaturesExp = 0;
    memcpy(dst.data(), &fis, fis_len);
}

uint32_t pass_scsi(const machine &m, const drive_profile &profile, std::span<uint8_t> buffer, bool is_refused,
                   std::string &note)
{
    _SL_SCSI_PASSTHRU_T header;
    memcpy(&header, buffer.data(), sizeof header);
    note = format_text(" target=%u op=%u lun=%u timeout=%u", header.targetId, header.cmd, header.lun,
                       header.timeout);
    if (header.dataSize > buffer.size() - sizeof header) return SL_ERR_BUFFER_TOO_SMALL;
    request req{};
    if (header.targetId != profile.device_id || header.lun != 0) return MFI_STAT_DEVICE_NOT_FOUND;
    const bool is_cdb = header.cdbLength >= min_cdb_len && header.cdbLength <= sizeof header.cdb;
    if (header.cmd != SL_CMD_OP_PD_SCSI || !is_cdb || !decode_direction(header.dir, req.dir))
        return invalid_parameter;
    req.bytes = {header.cdb, header.cdbLength};
    req.ata = decode_pass_through(req.bytes);
    if (req.dir != direction::none) req.data = buffer.subspan(sizeof header, header.dataSize);
    req.timeout_ms = header.timeout * 1000U;
    note += " " + describe(req);
    if (is_refused) return 0;
    const outcome out = run_and_note(m, profile, req, note);
    header.scsiStatus = out.status;
    std::copy_n(out.sense.begin(), std::min(out.sense.size(), sizeof header.pRequestSenseData),
                header.pRequestSenseData);
    memcpy(buffer.data(), &header, sizeof header);
    return status_of(out);
}

uint32_t pass_ata(const machine &m, const drive_profile &profile, std::span<uint8_t> buffer, bool is_refused,
                  std::string &note)
{
    _SL_STP_PASSTHRU_T header;
    memcpy(&header, buffer.data(), sizeof header);
    note = format_text(" target=%u flags=%x timeout=%u fis=%u", header.targetId, header.stpFlags,
                       header.timeout, header.fisResponseLen);
    const std::span<uint8_t> room = buffer.subspan(sizeof header);
    if (header.fisResponseLen < fis_len || room.size() < fis_len || header.dataLen > room.size() - fis_len)
        return SL_ERR_BUFFER_TOO_SMALL;
    request req{};
    if (header.targetId != profile.device_id) return MFI_STAT_DEVICE_NOT_FOUND;
    if (!decode_direction(header.dir, req.dir) || header.stpFlags != flags_of(req.dir))
        return invalid_parameter;
    req.bytes = {reinterpret_cast<const uint8_t *>(&header.fis), fis_len};
    req.ata = decode_fis(header.fis, header.dataLen);
    req.ata->protocol = req.dir == direction::none ? sat_non_data : sat_pio_data_in;
    req.ata->is_from_drive = req.dir == direction::in;
    if (req.dir != direction::none) req.data = room.subspan(fis_len, header.dataLen);
    req.timeout_ms = header.timeout * 1000U;
    note += " " + describe(req);
    if (is_refused) return 0;
    const outcome out = run_and_note(m, profile, req, note);
    put_response(room, header.fis, out);
    /* The data follows the response. One of an absurd length leaves no place for it: then as usual. */
    header.fisResponseLen = static_cast<uint32_t>(profile.fis_length.value_or(fis_len));
    if (header.fisResponseLen < fis_len)
        memmove(room.data() + header.fisResponseLen, room.data() + fis_len, header.dataLen);
    memcpy(buffer.data(), &header, sizeof header);
    return status_of(out);
}

} // namespace rehearsal
