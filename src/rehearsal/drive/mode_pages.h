/* mode_pages.h - MODE SENSE(6) and MODE SELECT(6) of the caching page. */
#pragma once

#include "rehearsal/drive/drive_state.h"
#include "rehearsal/profile/command.h"

namespace rehearsal
{

reply mode_sense_6(const drive_profile &profile, drive_state &state, const request &req);

/* Takes the parameter list from req.data and changes state when all of it is acceptable. */
reply mode_select_6(const drive_profile &profile, drive_state &state, const request &req);

} // namespace rehearsal
