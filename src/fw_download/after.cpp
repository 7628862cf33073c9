#include "fw_download/after.h"

#include "fw_download/ata_drive.h"
#include "fw_download/blocks.h"
#include "fw_download/scsi_drive.h"

#include <algorithm>

namespace fw_download
{

constexpr int pause_between_ms = 1000;
constexpr int ready_seconds = 20; /* nobody is kept from answering this by work of its own */

static std::optional<std::string> read_revision(const drive &d, bool is_ata)
{
    if (is_ata) {
        const auto data = ask_identify(d);
        return data ? std::optional(identify_revision(*data)) : std::nullopt;
    }
    const auto id = ask_identity(d);
    return id ? std::optional(id->revision) : std::nullopt;
}

bool tell_new_revision(const drive &d, bool is_ata, const std::string &old_revision, int64_t deadline_ms)
{
    outcome ready;
    for (;;) {
        const int64_t left_s = (deadline_ms - d.way->now_ms(d.handle)) / 1000;
        if (left_s < 1) break;
        command c = test_unit_ready();
        c.timeout_s = static_cast<int>(std::min<int64_t>(ready_seconds, left_s));
        ready = execute(d, c);
        if (is_gone(ready)) break;
        if (ready.is_taken()) {
            const auto revision = read_revision(d, is_ata);
            if (revision && *revision != old_revision) {
                say(d.con, "%s -> %s\n", old_revision.c_str(), revision->c_str());
                return true;
            }
            if (revision) {
                say(d.con, "%s still runs: a power cycle is needed for the new firmware\n",
                    old_revision.c_str());
                return true;
            }
        }
        d.way->pause(d.handle, pause_between_ms);
    }
    complain(d.con, "the drive took the whole image and did not get ready again: %s: %s",
             layer_name(ready.where), ready.is_taken() ? "its revision can't be read" : ready.text.c_str());
    return false;
}

} // namespace fw_download
