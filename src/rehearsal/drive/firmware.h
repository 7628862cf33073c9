/* firmware.h - a simulated drive takes a firmware image. The same for both command sets: what WRITE BUFFER
 * (SPC) and DOWNLOAD MICROCODE (ACS) have in common. A drive is strict here where real ones may not be: an
 * image comes once, in order, without gaps, by one way, and whole. */
#pragma once

#include "rehearsal/drive/drive_state.h"
#include "rehearsal/profile/command.h"

namespace rehearsal
{

enum download_way : unsigned { no_download, in_segments, in_one_command, in_deferred_segments };

/* What became of a segment. */
enum verdict { segment_taken, wrong_offset_or_length, wrong_content, out_of_sequence };

/* The modes that the drive offers, by the command set's own numbers. */
bool offers_mode(const drive_profile &profile, uint8_t mode);

/* The last segment, as the image's first lines ("revision=" and "size=") or an announcement tell it, makes
 * the image active: at once, when the drive is no longer busy, or at the next power cycle, as the profile has
 * it. */
verdict take_segment(const drive_profile &profile, drive_state &state, download_way way, uint64_t offset,
                     std::span<const uint8_t> data);

/* Makes a deferred image active. */
verdict activate_deferred(const drive_profile &profile, drive_state &state);

/* What time has brought about when the next command comes: the end of being busy. */
void settle(const drive_profile &profile, drive_state &state);

bool is_busy(const drive_state &state);

/* The revision that an image's first line or a tool's announcement tells, and its length; 0: not told. */
struct image_facts {
    std::string revision;
    uint64_t size = 0;
};
image_facts read_image_facts(std::string_view start_of_image);

} // namespace rehearsal
