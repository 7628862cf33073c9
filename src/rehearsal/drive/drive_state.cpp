#include "rehearsal/drive/drive_state.h"

#include "rehearsal/text/files.h"
#include "rehearsal/text/text.h"

#include <utility>

namespace rehearsal
{

constexpr uint8_t caching_rcd = 0x01;
constexpr uint8_t caching_wce = 0x04;

static std::string state_path(const machine &m, const drive_profile &profile)
{
    return m.state_dir() + "/" + profile.state_name;
}

static void take_state_line(std::string_view line, drive_state &state)
{
    const std::string_view name = cut_word(line, '=');
    if (name == "revision")
        state.revision = line;
    else if (name == "pending")
        state.pending = line;
    else if (name == "attention")
        state.attention = static_cast<uint16_t>(parse_number(line).value_or(0));
    else if (name == "caching")
        state.caching = static_cast<uint8_t>(parse_number(line).value_or(state.caching));
    else if (name == "flash-attempts")
        state.flash_attempts = parse_number(line).value_or(0);
    else if (name == "commands")
        state.commands = parse_number(line).value_or(0);
    else if (name == "download")
        state.download = static_cast<unsigned>(parse_number(line).value_or(0));
    else if (name == "received")
        state.received = parse_number(line).value_or(0);
    else if (name == "segments")
        state.segments = parse_number(line).value_or(0);
    else if (name == "deferred")
        state.deferred = line;
    else if (name == "announced")
        state.announced_revision = line;
    else if (name == "announced-size")
        state.announced_size = parse_number(line).value_or(0);
    else if (name == "busy-until")
        state.busy_until_ms = parse_number(line).value_or(0);
}

static uint8_t saved_caching(const drive_profile &profile)
{
    return caching_wce | (profile.read_cache_disabled ? caching_rcd : 0);
}

drive_state read_state(const machine &m, const drive_profile &profile)
{
    drive_state state = {};
    state.revision = profile.rev;
    state.attention = static_cast<uint16_t>(profile.attention);
    state.caching = saved_caching(profile);
    state.image_path = state_path(m, profile) + ".image";
    std::string text;
    if (!read_file(state_path(m, profile), text)) return state;
    for (std::string_view rest = text; !rest.empty();)
        take_state_line(cut_word(rest, '\n'), state);
    return state;
}

void take_firmware(const drive_profile &profile, drive_state &state, const std::string &revision)
{
    if (profile.flash_needs_power_cycle) {
        state.pending = revision;
        return;
    }
    state.revision = revision;
    if (!profile.is_ata()) state.attention = microcode_has_been_changed;
}

/* The unit attention of a power-on is not left: the kernel's own scan has had it. */
void power_cycle(const drive_profile &profile, drive_state &state)
{
    state.caching = saved_caching(profile);
    if (!state.pending.empty()) state.revision = std::exchange(state.pending, "");
    if (!state.deferred.empty()) state.revision = std::exchange(state.deferred, "");
    state.busy_until_ms = 0;
    state.download = 0;
    state.attention = 0;
}

bool write_state(const machine &m, const drive_profile &profile, const drive_state &state)
{
    std::string text;
    /* Only a flashed drive keeps its revision: of the others one may correct it in the inventory. */
    if (state.revision != profile.rev) text += "revision=" + state.revision + "\n";
    for (const auto &[name, value] :
         {std::pair("pending=", &state.pending), std::pair("deferred=", &state.deferred),
          std::pair("announced=", &state.announced_revision)})
        if (!value->empty()) text += name + *value + "\n";
    for (const auto &[name, value] :
         {std::pair("download", uint64_t{state.download}), std::pair("received", state.received),
          std::pair("segments", state.segments), std::pair("announced-size", state.announced_size),
          std::pair("busy-until", state.busy_until_ms)})
        if (value != 0) text += format_text("%s=%llu\n", name, static_cast<unsigned long long>(value));
    text += format_text("attention=%u\ncaching=%u\nflash-attempts=%llu\ncommands=%llu\n", state.attention,
                        state.caching, static_cast<unsigned long long>(state.flash_attempts),
                        static_cast<unsigned long long>(state.commands));
    return replace_file(state_path(m, profile), text);
}

bool is_gone(const drive_profile &profile, const drive_state &state)
{
    return profile.gone_after && state.commands >= *profile.gone_after;
}

} // namespace rehearsal
