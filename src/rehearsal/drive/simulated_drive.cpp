#include "rehearsal/drive/simulated_drive.h"

#include "rehearsal/drive/ata_commands.h"
#include "rehearsal/drive/firmware.h"
#include "rehearsal/drive/scsi_commands.h"
#include "rehearsal/text/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <numeric>
#include <sys/select.h>

namespace rehearsal
{

constexpr uint8_t key_recovered = 1;

namespace
{
struct sense_codes {
    uint8_t key;
    uint8_t code;
    uint8_t qualifier;
};
} // namespace

/* What sense data of the fixed or the descriptor format says; what is not there counts as 0. */
static sense_codes decode_sense(std::vector<uint8_t> sense)
{
    sense.resize(std::max<size_t>(sense.size(), 14));
    const bool has_descriptors = (sense[0] & 0x7F) >= 0x72;
    if (has_descriptors) return {static_cast<uint8_t>(sense[1] & 0x0F), sense[2], sense[3]};
    return {static_cast<uint8_t>(sense[2] & 0x0F), sense[12], sense[13]};
}

/* A drive that only reports something sends its data all the same. */
static bool delivers_data(const reply &r)
{
    return r.status == status_good ||
           (r.status == status_check_condition && decode_sense(r.sense).key == key_recovered);
}

static reply run_on_drive(const drive_profile &profile, drive_state &state, const request &req)
{
    const bool is_ata = req.ata && profile.is_ata();
    settle(profile, state);
    if (const auto attention = unit_attention(state, req.bytes[0])) return *attention;
    if (const auto busy = not_ready(state, req.bytes[0])) return *busy;
    if (!is_ata) return run_scsi_command(profile, state, req);
    ata_registers regs = *req.ata;
    if (req.dir == direction::out) regs.data = req.data;
    return run_ata_command(profile, state, regs);
}

static void set_checksum(reply &r)
{
    if (!r.has_checksum || r.data.size() <= checksum_offset) return;
    r.data[checksum_offset] = 0;
    r.data[checksum_offset] = static_cast<uint8_t>(-std::accumulate(r.data.begin(), r.data.end(), 0));
}

/* Moves the answer into the sender's buffer, never more than it has room for. */
static size_t deliver(const reply &r, const request &req)
{
    if (req.dir == direction::out) return r.status == status_good ? req.data.size() : 0;
    if (!delivers_data(r) || req.data.empty()) return 0;
    const size_t len = std::min(r.data.size(), req.data.size());
    memcpy(req.data.data(), r.data.data(), len);
    const size_t zeros = std::min<uint64_t>(r.zeros, req.data.size() - len);
    memset(req.data.data() + len, 0, zeros);
    return len + zeros;
}

static outcome answer(const drive_profile &profile, drive_state &state, const request &req)
{
    outcome out;
    if (is_gone(profile, state)) {
        out.error = ENODEV;
        return out;
    }
    std::vector<const fault *> faults;
    if (state.commands >= profile.faults_after)
        for (const fault &f : profile.faults)
            if (meets(f, req)) faults.push_back(&f);
    const bool is_prevented = std::any_of(faults.begin(), faults.end(),
                                          [](const fault *f) { return f->what->time == before_command; });
    reply r = is_prevented ? reply{} : run_on_drive(profile, state, req);
    for (const fault *f : faults)
        f->what->apply(*f, req, r, out);
    set_checksum(r);
    if (out.error == 0 && out.host_status == 0 && out.driver_status == 0) out.transferred = deliver(r, req);
    out.status = r.status;
    out.sense = std::move(r.sense);
    return out;
}

/* No function for pauses, because those are recorded. */
static void rest_ms(uint64_t ms)
{
    timeval t = {static_cast<time_t>(ms / 1000), static_cast<suseconds_t>(ms % 1000 * 1000)};
    if (ms > 0) select(0, nullptr, nullptr, nullptr, &t);
}

outcome run_command(const machine &m, const drive_profile &profile, const request &req)
{
    const drive_state before = read_state(m, profile);
    drive_state state = before;
    outcome out = answer(profile, state, req);
    if (profile.gone_after || profile.faults_after != 0) ++state.commands;
    if (state != before && !write_state(m, profile, state)) out.error = EIO; /* no drive that forgets */
    rest_ms(profile.command_ms);
    out.duration_ms = std::max(out.duration_ms, static_cast<unsigned>(profile.command_ms));
    return out;
}

std::string describe(const request &req)
{
    static constexpr const char *names[] = {"none", "in", "out"};
    std::string text = format_text("%s %s len=%zu", names[static_cast<int>(req.dir)],
                                   hex_text(req.bytes).c_str(), req.data.size());
    constexpr size_t max_shown = 64; /* the segments of an image would fill the log */
    const bool is_cut = req.data.size() > max_shown;
    if (req.dir == direction::out)
        text +=
            " data=" + hex_text(req.data.first(is_cut ? max_shown : req.data.size())) + (is_cut ? "..." : "");
    return text;
}

std::string describe(const outcome &out, const request &req)
{
    if (out.error != 0) return format_text("errno=%d", out.error);
    if (out.host_status != 0) return format_text("host-status=%d", out.host_status);
    if (out.driver_status != 0) return format_text("driver-status=%d", out.driver_status);
    if (out.status == status_check_condition) {
        const sense_codes sense = decode_sense(out.sense);
        return format_text("check=%02x/%02x/%02x", sense.key, sense.code, sense.qualifier);
    }
    if (out.status != status_good) return format_text("status=%02x", out.status);
    const size_t left = req.data.size() - out.transferred;
    return left == 0 ? "ok" : format_text("ok resid=%zu", left);
}

} // namespace rehearsal
