#include "rehearsal/profile/effects.h"

#include "rehearsal/profile/faults.h"

#include <algorithm>
#include <cerrno>

namespace rehearsal
{

constexpr uint8_t host_timed_out = 3;

static void refuse(const fault &, const request &req, reply &r, outcome &)
{
    r = req.ata ? aborted_command() : invalid_opcode();
}

static void give_sense(const fault &f, const request &, reply &r, outcome &)
{
    r.status = status_check_condition;
    r.sense = f.bytes;
}

static void give_status(const fault &f, const request &, reply &r, outcome &)
{
    r = {};
    r.status = static_cast<uint8_t>(f.number);
}

static void give_host_status(const fault &f, const request &, reply &r, outcome &out)
{
    r = {};
    out.host_status = static_cast<uint8_t>(f.number);
}

static void give_driver_status(const fault &f, const request &, reply &r, outcome &out)
{
    r = {};
    out.driver_status = static_cast<uint8_t>(f.number);
}

/* Without really waiting. */
static void hang(const fault &, const request &req, reply &r, outcome &out)
{
    r = {};
    out.host_status = host_timed_out;
    out.duration_ms = req.timeout_ms;
}

static void vanish(const fault &, const request &, reply &, outcome &out)
{
    out.error = ENODEV;
}

static void shorten(const fault &f, const request &, reply &r, outcome &)
{
    const uint64_t len = std::min<uint64_t>(f.number, r.data.size());
    r.zeros = std::min(r.zeros, f.number - len);
    r.data.resize(len);
}

static void replace(const fault &f, const request &, reply &r, outcome &)
{
    r.data = f.bytes;
    r.zeros = 0;
    r.has_checksum = false;
}

/* Nothing of a patch that reaches beyond the end. */
static bool apply_patch(const fault &f, std::vector<uint8_t> &data)
{
    if (f.number > data.size() || f.bytes.size() > data.size() - f.number) return false;
    std::copy(f.bytes.begin(), f.bytes.end(), data.begin() + static_cast<ptrdiff_t>(f.number));
    return true;
}

static void patch(const fault &f, const request &, reply &r, outcome &)
{
    if (!apply_patch(f, r.data)) return;
    /* Who patches the checksum wants it to be wrong. */
    if (f.number <= checksum_offset && checksum_offset < f.number + f.bytes.size()) r.has_checksum = false;
}

// clang-format off
constexpr effect effects[] = {
    /* word           value                     time                      number bytes */
    {"refuse",        "CMD[,CMD...]",           before_command,           false, false, refuse},
    {"sense",         "CMD:BYTES[,...]",        after_command,            false, true,  give_sense},
    {"status",        "CMD:N[,...]",            before_command,           true,  false, give_status},
    {"host-status",   "CMD:N[,...]",            before_command,           true,  false, give_host_status},
    {"driver-status", "CMD:N[,...]",            before_command,           true,  false, give_driver_status},
    {"hang",          "CMD[,CMD...]",           before_command,           false, false, hang},
    {"enodev",        "CMD[,CMD...]",           before_command,           false, false, vanish},
    {"short",         "CMD:LENGTH[,...]",       after_command_or_request, true,  false, shorten},
    {"answer",        "CMD:BYTES[,...]",        after_command_or_request, false, true,  replace},
    {"patch",         "CMD:OFFSET:BYTES[,...]", after_command_or_request, true,  true,  patch},
};
// clang-format on

const effect *find_effect(std::string_view word)
{
    const auto *const found =
        std::find_if(std::begin(effects), std::end(effects), [&](const effect &e) { return word == e.word; });
    return found == std::end(effects) ? nullptr : found;
}

bool is_library_status(const effect &what)
{
    return what.apply == give_status;
}

} // namespace rehearsal
