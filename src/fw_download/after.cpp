#include "fw_download/after.h"

#include "fw_download/ata_drive.h"
#include "fw_download/blocks.h"
#include "fw_download/scsi_drive.h"

#include <algorithm>

namespace fw_download
{

constexpr int pause_between_ms = 1000;
constexpr int max_looks = 5; /* at an old revision */

static std::optional<std::string> read_revision(const drive &d, bool is_ata)
{
    if (is_ata) {
        const auto data = ask_identify(d);
        return data ? std::optional(identify_revision(*data)) : std::nullopt;
    }
    const auto id = ask_identity(d);
    return id ? std::optional(id->revision) : std::nullopt;
}

aftermath tell_new_revision(const drive &d, bool is_ata, const std::string &old_revision, int64_t deadline_ms)
{
    outcome ready;
    int looks = 0;
    for (bool is_first = true; is_first || d.way->now_ms(d.handle) < deadline_ms; is_first = false) {
        if (!is_first) d.way->pause(d.handle, pause_between_ms);
        ready = execute(d, test_unit_ready());
        if (is_gone(ready)) return aftermath::vanished;
        const auto revision = ready.is_taken() ? read_revision(d, is_ata) : std::nullopt;
        if (revision && *revision != old_revision) {
            say(d.con, "%s -> %s\n", old_revision.c_str(), revision->c_str());
            return aftermath::told;
        }
        if (revision && ++looks == max_looks) {
            say(d.con, "%s still runs: a power cycle is needed for the new firmware\n", old_revision.c_str());
            return aftermath::told;
        }
    }
    complain(d.con, "the drive took the whole image and did not get ready again: %s: %s",
             layer_name(ready.where), ready.is_taken() ? "its revision can't be read" : ready.text.c_str());
    return aftermath::failed;
}

} // namespace fw_download
