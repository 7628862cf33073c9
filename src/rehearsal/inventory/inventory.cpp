#include "rehearsal/inventory/inventory.h"

#include "rehearsal/inventory/drive_options.h"
#include "rehearsal/profile/libraries.h"
#include "rehearsal/text/text.h"

#include <algorithm>
#include <cctype>
#include <climits>

namespace rehearsal
{

constexpr std::string_view blanks = " \t";

static std::string_view skip_blanks(std::string_view text)
{
    const size_t start = text.find_first_not_of(blanks);
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

/* The number up to the next comma, which is cut off as well. */
static bool take_number(std::string_view &text, unsigned &number)
{
    const auto value = parse_number(cut_word(text, ','));
    if (!value || *value > UINT_MAX) return false;
    number = static_cast<unsigned>(*value);
    return true;
}

/* "revision,new revision,image;" at the start of text, which is then cut off. A model may hold the same
 * punctuation as the line itself, so its end is found by trying whether this fits behind it. */
static bool take_tail(std::string_view &text, drive_profile &profile)
{
    std::string_view rest = text;
    const std::string_view rev = cut_word(rest, ',');
    const std::string_view new_rev = cut_word(rest, ',');
    std::string_view image;
    if (rest.starts_with("-;")) {
        image = "-";
        rest.remove_prefix(2);
    } else {
        const size_t end = rest.find("\";");
        if (!rest.starts_with('"') || end == std::string_view::npos || end == 0) return false;
        image = rest.substr(1, end - 1);
        rest.remove_prefix(end + 2);
    }
    if (!rest.empty() && blanks.find(rest.front()) == std::string_view::npos) return false;
    profile.rev = rev;
    profile.new_rev = new_rev;
    profile.image = image;
    text = rest;
    return true;
}

/* The widths are those of the library's own fields. */
static bool take_controller(drive_profile &profile)
{
    const auto number = parse_number(profile.adapter);
    if (!number || *number > UINT16_MAX) return false;
    profile.controller = static_cast<unsigned>(*number);
    return profile.host <= UINT16_MAX && profile.slot <= UINT8_MAX;
}

/* It becomes a file's name. */
static bool is_adapter(const std::string &name)
{
    return !name.empty() && name.find('/') == std::string::npos && !name.starts_with('.') &&
           std::all_of(name.begin(), name.end(), [](unsigned char c) { return isgraph(c); });
}

/* The fields of a listing's line; text is left at what follows the semicolon. The result says what is wrong.
 */
static const char *take_listing(std::string_view &text, drive_profile &profile)
{
    static constexpr std::string_view model_start = ",\"";
    static constexpr std::string_view model_end = "\",";
    profile.adapter = cut_word(text, ',');
    if (!is_adapter(profile.adapter))
        return "the adapter is neither the name of a block device nor a controller's number";
    if (!take_number(text, profile.host)) return "the host is not a number";
    if (!take_number(text, profile.slot)) return "the slot is not a number";
    if (profile.is_behind_controller() && !take_controller(profile))
        return "the number of the controller, the enclosure or the slot is too big";
    const size_t vendor_len = text.find(model_start);
    if (vendor_len == std::string_view::npos) return "no model in double quotes after the vendor";
    profile.vendor = text.substr(0, vendor_len);
    text.remove_prefix(vendor_len + model_start.size());
    for (size_t len = text.find(model_end); len != std::string_view::npos;
         len = text.find(model_end, len + 1)) {
        std::string_view rest = text.substr(len + model_end.size());
        if (!take_tail(rest, profile)) continue;
        profile.model = text.substr(0, len);
        text = rest;
        return nullptr;
    }
    return "expected \"model\",revision,new revision and an image in double quotes or -, ended by ;";
}

/* Cuts the next word off text: a name and, if there is a '=', its value less the quotes around it. */
static bool take_word(std::string_view &text, std::string_view &name, std::optional<std::string_view> &value)
{
    const size_t name_len = text.find_first_of("= \t");
    name = text.substr(0, name_len);
    text.remove_prefix(name.size());
    value.reset();
    if (!text.starts_with('=')) return true;
    text.remove_prefix(1);
    const bool is_quoted = text.starts_with('"');
    if (is_quoted) text.remove_prefix(1);
    const size_t len = text.find_first_of(is_quoted ? "\"" : blanks);
    if (is_quoted && len == std::string_view::npos) return false;
    value = text.substr(0, len);
    text.remove_prefix(value->size() + (is_quoted ? 1 : 0));
    return true;
}

static std::string parse_line(std::string_view text, drive_profile &profile)
{
    if (const char *error = take_listing(text, profile)) return error;
    for (text = skip_blanks(text); !text.empty(); text = skip_blanks(text)) {
        std::string_view name;
        std::optional<std::string_view> value;
        if (!take_word(text, name, value)) return "a value lacks its closing double quote";
        if (std::string error = apply_option(profile, name, value); !error.empty()) return error;
    }
    return {};
}

/* What depends on the other lines or follows from the line itself. */
static void complete_drive(const std::vector<drive_profile> &earlier, drive_profile &profile)
{
    profile.index = static_cast<unsigned>(earlier.size());
    if (profile.serial.empty()) profile.serial = format_text("SIM%05u", profile.index + 1);
    if (profile.adapter == "sdX") profile.no_block = true; /* what the listing says of a drive without one */
    for (const drive_profile &other : earlier) {
        const bool is_same_drive =
            other.vendor == profile.vendor && other.model == profile.model && other.serial == profile.serial;
        if (is_same_drive) profile.state_name = other.state_name;
        if (other.is_behind_controller() != profile.is_behind_controller()) continue;
        profile.lun += other.host == profile.host && other.slot == profile.slot;
        profile.device_id += other.controller == profile.controller;
    }
    if (profile.state_name.empty())
        profile.state_name = profile.is_behind_controller() ? profile.label() : profile.address();
}

/* What one drive's line says of its controller holds for all of the controller's drives. */
static void settle_controllers(std::vector<drive_profile> &drives)
{
    for (drive_profile &profile : drives) {
        if (!profile.is_behind_controller()) continue;
        for (const drive_profile &other : drives) {
            if (!other.is_behind_controller() || other.controller != profile.controller) continue;
            if (profile.library.empty()) profile.library = other.library;
            if (!profile.pci) profile.pci = other.pci;
        }
        if (profile.library.empty()) profile.library = usual_library;
    }
}

std::string drive_profile::label() const
{
    return format_text("%s,%u,%u", adapter.c_str(), host, slot);
}

std::string drive_profile::address() const
{
    return format_text("%u:0:%u:%u", host, slot, lun);
}

inventory parse_inventory(std::string_view text)
{
    inventory result;
    for (unsigned number = 1; !text.empty(); ++number) {
        std::string_view line = cut_word(text, '\n');
        if (line.ends_with('\r')) line.remove_suffix(1);
        line = skip_blanks(line);
        if (line.empty() || line.starts_with('#')) continue;
        drive_profile profile;
        if (const std::string error = parse_line(line, profile); !error.empty()) {
            result.errors.push_back(format_text("%u: %s", number, error.c_str()));
            continue;
        }
        complete_drive(result.drives, profile);
        result.drives.push_back(std::move(profile));
    }
    settle_controllers(result.drives);
    return result;
}

} // namespace rehearsal
