/* files.cpp - targets for what people write: map, configuration, vendor table. */
#include "input.h"

#include "base/files.h"
#include "catalogue/map.h"
#include "catalogue/map_line.h"
#include "catalogue/match.h"
#include "catalogue/vendor.h"
#include "core/config.h"

#include <cctype>

/* Every line with content is an entry or an error. The input begins with a drive's model and revision. */
void map(input &in)
{
    Dev dev = fake_dev(interface_scsi);
    dev.model = in.line().substr(0, 40);
    dev.rev = in.line().substr(0, 8);
    file_content = in.left;
    constexpr ptrdiff_t max_repetitions = 2; /* a map holds the memory of all its patterns */
    if (std::count(file_content.begin(), file_content.end(), '{') > max_repetitions) return;

    map_reader reader = {.file = open_data_file("Map.txt"), .number = 0, .line = ""};
    unsigned lines = 0;
    while (next_map_line(&reader))
        ++lines;
    int errors = 0;
    GList *entries = loadMap("Map.txt", &errors, "/root", nullptr);
    assert(g_list_length(entries) + static_cast<unsigned>(errors) == lines);
    for (const GList *node = entries; node; node = node->next) {
        auto *entry = static_cast<Map *>(node->payload);
        const bool fits = regexec(entry->model_pattern.get(), dev.model->c_str(), 0, nullptr, 0) == 0 &&
                          regexec(entry->prev_rev.get(), dev.rev->c_str(), 0, nullptr, 0) == 0;
        dev.image = nullptr;
        find_one_image(entry, &dev);
        assert((dev.image == entry->pathname.c_str()) == (fits && dev.rev != entry->new_rev_s));
    }
    g_list_free_full(entries, free_one_map);
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

/* Rows are sorted, and a drive finds its vendor's. */
void vendor_table(input &in)
{
    file_content = in.left;
    vendormap = load_vendormap("vendor.csv");
    Dev dev = fake_dev(interface_scsi);
    for (const GList *node = vendormap; node; node = node->next) {
        unsigned mode;
        dev.vendor = static_cast<const vendor *>(node->payload)->name;
        assert(is_text(dev.vendor, line_size) && get_wb_mode(&dev, &mode));
        assert(!node->next || compare_vendor_names(node->payload, node->next->payload) <= 0);
    }
    g_list_free_full(vendormap, free_one_vendor);
}
