/* drive_options.h - the words that may follow a drive's line in an inventory. */
#pragma once

#include "rehearsal/profile/drive_profile.h"

#include <string>
#include <string_view>

namespace rehearsal
{

/* Applies one word to profile. An empty result means success, else it says what is wrong with the word. */
std::string apply_option(drive_profile &profile, std::string_view name,
                         std::optional<std::string_view> value);

} // namespace rehearsal
