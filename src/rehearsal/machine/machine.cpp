#include "rehearsal/machine/machine.h"

#include "rehearsal/inventory/inventory.h"
#include "rehearsal/text/files.h"

#include <cstdlib>

namespace rehearsal
{

std::unique_ptr<const machine> read_machine()
{
    const char *const dir = getenv(dir_variable);
    if (!dir) return nullptr;
    auto m = std::make_unique<machine>();
    m->dir = dir;
    std::string text;
    if (!read_file(m->inventory_path(), text)) return nullptr;
    m->drives = parse_inventory(text).drives;
    return m;
}

const machine *current_machine()
{
    /* Never freed: the program may still close drives while the process ends. */
    static const machine *const m = read_machine().release();
    return m;
}

const drive_profile *find_direct_drive(const machine &m, unsigned host, unsigned target)
{
    for (const drive_profile &profile : m.drives)
        if (!profile.is_behind_controller() && profile.host == host && profile.slot == target)
            return &profile;
    return nullptr;
}

const drive_profile *find_controller_drive(const machine &m, unsigned controller, unsigned enclosure,
                                           unsigned slot)
{
    for (const drive_profile &profile : m.drives)
        if (profile.is_behind_controller() && profile.controller == controller && profile.host == enclosure &&
            profile.slot == slot)
            return &profile;
    return nullptr;
}

void log_event(const machine &m, std::string_view label, std::string_view text)
{
    append_to_file(m.dir + "/commands.log", std::string(label) + " " + std::string(text) + "\n");
}

void log_event(const machine &m, const drive_profile &profile, std::string_view text)
{
    log_event(m, profile.label(), text);
}

} // namespace rehearsal
