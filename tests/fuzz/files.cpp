/* files.cpp - targets for what people write: map, configuration, vendor table, target lists, inventories. */
#include "fakes.h"
#include "inventory.h"

#include "catalogue/map.h"
#include "catalogue/map_line.h"
#include "catalogue/match.h"
#include "catalogue/vendor.h"
#include "core/config.h"
#include "targets/targets.h"

#include <cctype>
#include <strings.h>

/* Every line with content is an entry or an error. The input begins with a drive's model and revision. */
void map(input &in)
{
    const auto dev = fake_drive(interface_scsi);
    dev->model = in.line().substr(0, 40);
    dev->rev = in.line().substr(0, 8);
    file_content = in.left;
    guint entries = 0;
    int errors = 0;
    map_reader reader = {.file = file_ptr(fopen("Map.txt", "r")), .number = 0, .line = ""};
    while (const char *content = next_map_line(&reader)) {
        std::string error;
        const auto entry = parse_map_line(content, reader.number, "/root", nullptr, &error);
        ++(entry ? entries : reinterpret_cast<guint &>(errors));
        assert(entry ? entry->pathname.starts_with("/root//Data/") : error.ends_with("\n"));
        if (!entry) continue;
        find_one_image(entry.get(), dev.get());
        assert(!dev->image || (dev->image == entry->pathname && dev->target_rev == entry->new_rev_s));
        dev->image = nullptr;
    }
    constexpr ptrdiff_t max_repetitions = 4; /* a whole map holds the memory of all its patterns */
    if (std::count(file_content.begin(), file_content.end(), '{') > max_repetitions) return;
    int errors_in_file = 0;
    GList *list = loadMap("Map.txt", &errors_in_file, {}, nullptr);
    assert(g_list_length(list) == entries && errors_in_file == errors);
    g_list_free_full(list, free_one_map);
}

/* Names are words, unless indentation has put the entry out of use; the first of a name counts. */
void config(input &in)
{
    file_content = in.left;
    const auto pairs = load_config_file({}, "Config.txt");
    for (const auto &[name, value] : *pairs) {
        assert(is_text(name, line_size) && is_text(value, line_size) && lookup_config(pairs, name.c_str()));
        if (isblank(name[0])) continue;
        assert(isalpha(name[0]) && std::all_of(name.begin(), name.end(), isalnum));
        assert(value.empty() || (!isblank(value.front()) && !isspace(static_cast<uint8_t>(value.back()))));
    }
    assert(pairs->empty() || lookup_config(pairs, pairs->front().name.c_str()) == pairs->front().value);
}

/* Rows are sorted; a drive finds the first one of its vendor. */
void vendor_table(input &in)
{
    file_content = in.left;
    vendormap = load_vendormap("vendor.csv");
    const auto dev = fake_drive(interface_scsi);
    const vendor *first = nullptr;
    for (const GList *node = vendormap; node; node = node->next) {
        const auto *row = static_cast<const vendor *>(node->payload);
        const int order = first ? compare_vendor_names(first, row) : -1;
        assert(is_text(row->name, line_size) && order <= 0);
        if (order < 0) first = row;
        unsigned mode;
        dev->vendor = row->name;
        assert(get_wb_mode(dev.get(), &mode) && mode == first->wb_mode);
    }
    g_list_free_full(vendormap, free_one_vendor);
}

/* A valid list selects exactly the drives it names. The input begins with a drive's adapter, host and slot.
 */
void target_list(input &in)
{
    const auto dev = fake_drive(interface_scsi);
    dev->adapter = in.line();
    dev->unit_host = static_cast<uint32_t>(strtoul(in.line().c_str(), nullptr, 10));
    dev->slot_id = static_cast<uint32_t>(strtoul(in.line().c_str(), nullptr, 10));
    std::string list(in.left);
    dev->selected = 5;
    select_auto_target(dev.get(), list.data());
    assert(dev->selected == 5); /* as long as it has no image */
    dev->image = "image";
    select_auto_target(dev.get(), list.data());

    bool is_named = false;
    for (const char *t = list.c_str(); t; t = next_target(t)) {
        unsigned long long host = 0;
        unsigned long long slot = 0;
        const size_t len = strcspn(t, ",");
        is_named |= sscanf(t + len, ",%llu,%llu", &host, &slot) == 2 && host == dev->unit_host &&
                    slot == dev->slot_id &&
                    strcasecmp(std::string(t, len).c_str(), dev->adapter->c_str()) == 0;
    }
    if (strcmp(list.c_str(), "ALL") == 0) is_named = true;
    const bool is_clear = dev->adapter->find_first_of("*,:") == std::string::npos;
    assert(!is_clear || !valid_targets(list.c_str()) || dev->selected == is_named);
}

static std::string listing_of(const rehearsal::drive_spec &d)
{
    const std::string image = d.image == "-" ? "-" : "\"" + d.image + "\"";
    return d.label() + "," + d.vendor + ",\"" + d.model + "\"," + d.rev + "," + d.new_rev + "," + image + ";";
}

/* Every line with content is a drive or an error, and a drive's listing makes the same drive. */
void inventory(input &in)
{
    const rehearsal::inventory read = rehearsal::parse_inventory(in.left);
    size_t lines = read.drives.size() + read.errors.size();
    while (!in.left.empty()) {
        const std::string_view line = in.left.substr(0, in.left.find('\n'));
        const size_t start = line.find_first_not_of(" \t");
        in.left.remove_prefix(std::min(line.size() + 1, in.left.size()));
        lines -= start != std::string::npos && line[start] != '#' && line.substr(start) != "\r";
    }
    assert(lines == 0);
    for (const rehearsal::drive_spec &drive : read.drives) {
        assert(!drive.serial.empty() && !drive.state_name.empty() && &read.drives[drive.index] == &drive);
        const rehearsal::inventory again = rehearsal::parse_inventory(listing_of(drive));
        assert(again.drives.size() == 1 && listing_of(again.drives[0]) == listing_of(drive));
    }
}
