#include "rehearsal/drive/firmware.h"

#include "rehearsal/text/files.h"
#include "rehearsal/text/text.h"

#include <algorithm>
#include <ctime>
#include <utility>

namespace rehearsal
{

constexpr uint8_t scsi_modes[] = {0x05, 0x07, 0x0E, 0x0F};
constexpr uint8_t ata_subcommands[] = {0x03, 0x07};

static uint64_t uptime_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

bool offers_mode(const drive_profile &profile, uint8_t mode)
{
    std::span<const uint8_t> modes = profile.fw_modes;
    if (modes.empty()) modes = profile.is_ata() ? std::span<const uint8_t>(ata_subcommands) : scsi_modes;
    return std::find(modes.begin(), modes.end(), mode) != modes.end();
}

image_facts read_image_facts(std::string_view start_of_image)
{
    image_facts facts;
    for (int line_number = 0; line_number < 2; ++line_number) {
        std::string_view line = cut_word(start_of_image, '\n');
        if (line.ends_with('\r')) line.remove_suffix(1);
        const std::string_view name = cut_word(line, '=');
        if (name == "revision") facts.revision = line;
        if (name == "size") facts.size = parse_number(line).value_or(0);
    }
    return facts;
}

/* What the image itself does not tell was announced, or stands in the drive's line. */
static image_facts facts_of(const drive_profile &profile, const drive_state &state)
{
    constexpr size_t start_size = 512;
    std::string image;
    read_file(state.image_path, image);
    image_facts facts = read_image_facts(std::string_view(image).substr(0, start_size));
    if (facts.size == 0) facts.size = state.announced_size;
    if (facts.revision.empty()) facts.revision = state.announced_revision;
    if (facts.revision.empty() && profile.new_rev != "-") facts.revision = profile.new_rev;
    if (!profile.flash_revision.empty()) facts.revision = profile.flash_revision;
    return facts;
}

static void activate(const drive_profile &profile, drive_state &state, const std::string &revision)
{
    if (profile.fw_busy_seconds > 0) {
        state.pending = revision;
        state.busy_until_ms = uptime_ms() + static_cast<uint64_t>(profile.fw_busy_seconds * 1000);
    } else {
        take_firmware(profile, state, revision);
    }
}

/* An image of nothing that is known is none for this drive. */
static verdict complete(const drive_profile &profile, drive_state &state, const std::string &revision)
{
    const auto way = static_cast<download_way>(std::exchange(state.download, no_download));
    if (revision.empty()) return wrong_content;
    if (way == in_deferred_segments)
        state.deferred = revision;
    else
        activate(profile, state, revision);
    return segment_taken;
}

verdict take_segment(const drive_profile &profile, drive_state &state, download_way way, uint64_t offset,
                     std::span<const uint8_t> data)
{
    if (data.empty()) return wrong_offset_or_length;
    if (state.download != no_download && state.download != way) return out_of_sequence;
    if (offset == 0) {
        state.download = way;
        state.received = 0;
        state.segments = 0;
        if (!write_file(state.image_path, "")) return wrong_content;
    }
    if (state.download != way) return out_of_sequence;
    const uint64_t boundary = profile.is_ata() ? 1 : uint64_t{1} << profile.fw_boundary;
    if (offset % boundary != 0 || offset + data.size() > profile.fw_capacity) return wrong_offset_or_length;
    if (offset != state.received) return wrong_content;
    append_to_file(state.image_path, {reinterpret_cast<const char *>(data.data()), data.size()});
    state.received += data.size();
    ++state.segments;
    if (profile.fw_attention == state.segments + 1) state.attention = microcode_has_been_changed;
    if (profile.fw_reset == state.segments + 1) {
        state.attention = power_on_or_reset;
        state.download = no_download; /* what was received is lost */
    }

    const image_facts facts = facts_of(profile, state);
    if (facts.size != 0 && state.received > facts.size) {
        state.download = no_download;
        return wrong_content;
    }
    if (way == in_one_command && facts.size > state.received) return wrong_content;
    if (way == in_one_command || state.received == facts.size)
        return complete(profile, state, facts.revision);
    return segment_taken;
}

verdict activate_deferred(const drive_profile &profile, drive_state &state)
{
    if (state.deferred.empty()) return out_of_sequence;
    activate(profile, state, std::exchange(state.deferred, ""));
    return segment_taken;
}

void settle(const drive_profile &profile, drive_state &state)
{
    if (state.busy_until_ms != 0 && uptime_ms() >= state.busy_until_ms) {
        state.busy_until_ms = 0;
        take_firmware(profile, state, std::exchange(state.pending, ""));
    }
}

bool is_busy(const drive_state &state)
{
    return state.busy_until_ms != 0;
}

} // namespace rehearsal
