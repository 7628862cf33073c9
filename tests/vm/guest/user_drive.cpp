/* A simulated drive behind a real kernel: answers from user space, through the kernel's target framework, as
 * the rehearsal's drives do. usage: user_drive INDEX /dev/uioN LENGTH-OF-THE-RING. Never ends by itself;
 * INDEX is the drive's line in the machine of $VANDREL_REHEARSAL, from 0. */
#include "ring.h"

#include "rehearsal/drive/ata_commands.h"
#include "rehearsal/drive/simulated_drive.h"

#include <algorithm>
#include <cstdlib>

using namespace rehearsal;

static const drive_profile *drive;

/* The kernel tells no direction. */
static direction direction_of(std::span<const uint8_t> cdb, const std::optional<ata_registers> &ata)
{
    constexpr uint8_t mode_select = 0x15;
    constexpr uint8_t write_buffer = 0x3B;
    const bool is_out = cdb[0] == mode_select || cdb[0] == write_buffer || (ata && !ata->is_from_drive);
    return is_out ? direction::out : direction::in;
}

static size_t cdb_len(uint8_t code)
{
    constexpr size_t lengths[] = {6, 10, 10, 0, 16, 12, 0, 0};
    return lengths[code >> 5];
}

uint8_t answer_command(const uint8_t *cdb, const iovec *pieces, size_t count, uint8_t sense[ring_sense_size])
{
    constexpr uint8_t busy = 8;
    std::vector<uint8_t> data;
    for (const iovec &piece : std::span(pieces, count)) {
        const auto *const bytes = static_cast<const uint8_t *>(piece.iov_base);
        data.insert(data.end(), bytes, bytes + piece.iov_len);
    }
    request req = {};
    req.bytes = {cdb, cdb_len(cdb[0])};
    req.ata = decode_pass_through(req.bytes);
    req.dir = data.empty() ? direction::none : direction_of(req.bytes, req.ata);
    req.data = data;
    const machine &m = *current_machine();
    const outcome out = run_command(m, *drive, req);
    log_event(m, *drive, (req.ata ? "ATA " : "SCSI ") + describe(req) + " " + describe(out, req));

    size_t at = 0;
    for (const iovec &piece : std::span(pieces, req.dir == direction::in ? count : 0)) {
        std::copy_n(data.begin() + static_cast<ptrdiff_t>(at), piece.iov_len,
                    static_cast<uint8_t *>(piece.iov_base));
        at += piece.iov_len;
    }
    std::copy_n(out.sense.begin(), std::min<size_t>(out.sense.size(), ring_sense_size), sense);
    return out.error != 0 || out.host_status != 0 ? busy : out.status;
}

int main(int argc, char **argv)
{
    const machine *const m = current_machine();
    if (argc != 4 || !m || strtoul(argv[1], nullptr, 0) >= m->drives.size()) return 2;
    drive = &m->drives[strtoul(argv[1], nullptr, 0)];
    serve_ring(argv[2], strtoul(argv[3], nullptr, 0));
    return 1;
}
