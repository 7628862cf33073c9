/* inventory.h - the text file that describes a simulated machine.
 * A drive's line is a line of the program's own listing,
 *     adapter,host,slot,vendor,"model",revision,new revision,image;
 * with the image in double quotes or a bare "-". Words may follow the semicolon: name or name=value, the
 * value in double quotes when it holds blanks. A line whose first non-blank is '#' is a comment. */
#pragma once

#include "rehearsal/profile/drive_profile.h"

#include <string>
#include <string_view>
#include <vector>

namespace rehearsal
{

struct inventory {
    std::vector<drive_profile> drives; /* in the order of their lines */
    std::vector<std::string> errors;   /* one text for each bad line, "LINE: what is wrong" */
};

inventory parse_inventory(std::string_view text);

} // namespace rehearsal
