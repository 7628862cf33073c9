#include "rehearsal/kernel/sg_transport.h"

#include "rehearsal/drive/ata_commands.h"
#include "rehearsal/drive/simulated_drive.h"

#include <algorithm>
#include <cerrno>
#include <sys/select.h>

namespace rehearsal
{

constexpr unsigned max_transfer = 256U << 20; /* the driver takes less than this */
constexpr uint8_t driver_sense = 0x08;        /* "sense data is there", set by the driver itself */

static bool decode_direction(int dxfer_direction, direction &dir)
{
    switch (dxfer_direction) {
    case SG_DXFER_NONE:
        dir = direction::none;
        return true;
    case SG_DXFER_TO_DEV:
        dir = direction::out;
        return true;
    case SG_DXFER_FROM_DEV:
    case SG_DXFER_TO_FROM_DEV:
        dir = direction::in;
        return true;
    default:
        return false;
    }
}

/* A command without data is over at once here, where a drive takes its time. Who sends such commands in a
 * loop to keep the drive's light busy would fill the log. No function for pauses, because those are recorded.
 */
static void rest_a_little()
{
    timeval t = {0, 1000};
    select(0, nullptr, nullptr, nullptr, &t);
}

static void fill_in(sg_io_hdr_t &header, const outcome &out, size_t data_len)
{
    header.status = out.status;
    header.masked_status = (out.status >> 1) & 0x1F;
    header.msg_status = 0;
    header.host_status = out.host_status;
    header.driver_status = out.driver_status;
    header.resid = static_cast<int>(data_len - out.transferred);
    header.duration = out.duration_ms;
    header.sb_len_wr = 0;
    if (out.status == status_check_condition) {
        header.driver_status |= driver_sense;
        const size_t len = !header.sbp ? 0 : std::min<size_t>(out.sense.size(), header.mx_sb_len);
        std::copy_n(out.sense.begin(), len, header.sbp);
        header.sb_len_wr = static_cast<unsigned char>(len);
    }
    const bool is_clean = out.status == 0 && header.host_status == 0 && header.driver_status == 0;
    header.info = is_clean ? SG_INFO_OK : SG_INFO_CHECK;
}

int answer_sg_io(const machine &m, const drive_profile &profile, sg_io_hdr_t &header)
{
    if (header.interface_id != 'S') return ENOSYS;
    if (!header.cmdp || header.cmd_len < 6) return EMSGSIZE;
    request req{};
    if (!decode_direction(header.dxfer_direction, req.dir) || header.iovec_count != 0) return EINVAL;
    if (header.dxfer_len >= max_transfer) return EINVAL;
    req.bytes = {header.cmdp, header.cmd_len};
    req.ata = decode_pass_through(req.bytes);
    req.timeout_ms = header.timeout;
    if (req.dir != direction::none && header.dxferp)
        req.data = {static_cast<uint8_t *>(header.dxferp), header.dxfer_len};
    if (req.dir == direction::none) rest_a_little();
    const outcome out = run_command(m, profile, req);
    log_event(m, profile, (req.ata ? "ATA " : "SCSI ") + describe(req) + " " + describe(out, req));
    if (out.error == 0) fill_in(header, out, req.data.size());
    return out.error;
}

} // namespace rehearsal
