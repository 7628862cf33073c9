#include "rehearsal/drive/drive_state.h"

#include "rehearsal/text/files.h"
#include "rehearsal/text/text.h"

namespace rehearsal
{

namespace
{

constexpr uint8_t caching_rcd = 0x01;
constexpr uint8_t caching_wce = 0x04;

std::string state_path(const machine &m, const drive_profile &profile)
{
    return m.state_dir() + "/" + profile.state_name;
}

void take_state_line(std::string_view line, drive_state &state)
{
    const std::string_view name = cut_word(line, '=');
    if (name == "revision")
        state.revision = line;
    else if (name == "caching")
        state.caching = static_cast<uint8_t>(parse_number(line).value_or(state.caching));
    else if (name == "flash-attempts")
        state.flash_attempts = parse_number(line).value_or(0);
    else if (name == "commands")
        state.commands = parse_number(line).value_or(0);
}

} // namespace

drive_state read_state(const machine &m, const drive_profile &profile)
{
    const uint8_t caching = caching_wce | (profile.read_cache_disabled ? caching_rcd : 0);
    drive_state state{profile.rev, caching, 0, 0};
    std::string text;
    if (!read_file(state_path(m, profile), text)) return state;
    for (std::string_view rest = text; !rest.empty();)
        take_state_line(cut_word(rest, '\n'), state);
    return state;
}

bool write_state(const machine &m, const drive_profile &profile, const drive_state &state)
{
    std::string text;
    /* Only a flashed drive keeps its revision: of the others one may correct it in the inventory. */
    if (state.revision != profile.rev) text += "revision=" + state.revision + "\n";
    text += format_text("caching=%u\nflash-attempts=%llu\ncommands=%llu\n", state.caching,
                        static_cast<unsigned long long>(state.flash_attempts),
                        static_cast<unsigned long long>(state.commands));
    return replace_file(state_path(m, profile), text);
}

bool is_gone(const drive_profile &profile, const drive_state &state)
{
    return profile.gone_after && state.commands >= *profile.gone_after;
}

} // namespace rehearsal
