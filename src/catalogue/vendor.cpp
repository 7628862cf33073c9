#include "catalogue/vendor.h"

#include "base/files.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <type_traits>

static_assert(std::is_standard_layout_v<vendor>, "a pointer to a row is a pointer to its name");

GList *vendormap;

/* Where a line stands between its start and the number behind the name. */
enum name_state { at_start, in_quotes, after_quote, in_name, at_number, at_end };

/* Takes one character of the line; appends what belongs to the name. */
static name_state step(name_state state, char c, unsigned number, std::string *name)
{
    switch (state) {
    case at_start:
        if (c == '\0' || c == '#') return at_end;
        if (c == '"') return in_quotes;
        if (isspace(static_cast<unsigned char>(c))) return at_start;
        *name += c;
        return in_name;
    case in_quotes:
        if (c == '\0') return at_end;
        if (c == '"') return after_quote;
        *name += c;
        return in_quotes;
    case after_quote:
        if (c == ',') return at_number;
        if (c == '"') {
            *name += c;
            return in_quotes;
        }
        if (c != '\0' && c != '\n' && c != '\r')
            fprintf(stderr, "Error in vendor table, line %u: non-separator follows quoted field\n", number);
        return at_end;
    case in_name:
        if (c == '\0') return at_end;
        if (c == ',') return at_number;
        *name += c;
        return in_name;
    default:
        return at_end;
    }
}

/* The row that a line makes; null for a line without one, after a message where one fits. */
static vendor *parse_line(const char *line, unsigned number)
{
    std::string name;
    name_state state = at_start;
    while (state != at_number && state != at_end)
        state = step(state, *line++, number, &name);
    if (state == at_end) return nullptr;

    char *behind;
    const unsigned long mode = strtoul(line, &behind, 0);
    if (behind == line) {
        fprintf(stderr, "Error in vendor table, line %u: failed to pick up number\n", number);
        return nullptr;
    }
    return new vendor{.name = name, .wb_mode = static_cast<uint32_t>(mode)};
}

GList *load_vendormap(const char *pathname)
{
    const file_ptr f = open_data_file(pathname);
    if (!f) return nullptr;

    GList *rows = nullptr;
    char line[line_size];
    for (unsigned number = 1; fgets(line, sizeof line, f.get()); ++number)
        if (vendor *row = parse_line(line, number))
            rows = g_list_insert_sorted(rows, row, compare_vendor_names);
    return rows;
}

gint compare_vendor_names(gconstpointer a, gconstpointer b)
{
    return static_cast<const std::string *>(a)->compare(*static_cast<const std::string *>(b));
}

int get_wb_mode(const Dev *dev, unsigned *mode)
{
    if (dev->interface == interface_ata || !dev->vendor) return 0;
    const GList *row = g_list_find_custom(vendormap, &*dev->vendor, compare_vendor_names);
    if (!row) return 0;
    *mode = static_cast<const vendor *>(row->payload)->wb_mode;
    return 1;
}

void free_one_vendor(gpointer data)
{
    delete static_cast<vendor *>(data);
}
