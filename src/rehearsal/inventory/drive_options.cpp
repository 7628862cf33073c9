#include "rehearsal/inventory/drive_options.h"

#include "rehearsal/profile/libraries.h"
#include "rehearsal/text/text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace rehearsal
{

namespace
{
struct drive_option {
    const char *name;
    const char *value; /* what its value looks like; null: the word stands alone */
    bool (*set)(drive_profile &profile, std::string_view value);
};
} // namespace

constexpr uint64_t max_flash_seconds = 86400;
constexpr uint64_t max_command_ms = 60000;

template <bool drive_profile::*flag>
static bool set_flag(drive_profile &profile, std::string_view)
{
    profile.*flag = true;
    return true;
}

template <std::string drive_profile::*text>
static bool set_text(drive_profile &profile, std::string_view value)
{
    profile.*text = value;
    return true;
}

/* Serves plain numbers and those that may be unset. */
template <auto number, uint64_t max = UINT64_MAX>
static bool set_number(drive_profile &profile, std::string_view value)
{
    const auto parsed = parse_number(value);
    if (!parsed || *parsed > max) return false;
    profile.*number = *parsed;
    return true;
}

template <double drive_profile::*seconds>
static bool set_seconds(drive_profile &profile, std::string_view value)
{
    const std::string text(value);
    char *end = nullptr;
    profile.*seconds = strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && profile.*seconds >= 0 && profile.*seconds <= max_flash_seconds;
}

static bool set_modes(drive_profile &profile, std::string_view value)
{
    profile.fw_modes.clear();
    while (!value.empty()) {
        const auto mode = parse_bytes(cut_word(value, ','));
        if (!mode || mode->size() != 1) return false;
        profile.fw_modes.push_back(mode->front());
    }
    return !profile.fw_modes.empty();
}

static bool set_blocks(drive_profile &profile, std::string_view value)
{
    const auto least = parse_number(cut_word(value, '-'));
    const auto most = parse_number(value);
    if (!least || !most || *least > *most || *most > UINT16_MAX) return false;
    profile.fw_min_blocks = *least;
    profile.fw_max_blocks = *most;
    return true;
}

/* "187=3" of smart-187=3 arrives here whole: the attribute is part of the word's name. */
static bool set_smart(drive_profile &profile, std::string_view value)
{
    const auto id = parse_number(cut_word(value, '='));
    const auto raw = parse_number(value);
    if (!id || *id < 1 || *id > 255 || !raw || *raw >> 48 != 0) return false;
    profile.smart.emplace_back(static_cast<uint8_t>(*id), *raw);
    return true;
}

static bool add_attributes(drive_profile &profile, std::string_view value)
{
    while (!value.empty())
        profile.no_attribute.emplace_back(cut_word(value, ','));
    return !profile.no_attribute.empty();
}

static bool set_library(drive_profile &profile, std::string_view value)
{
    profile.library = value;
    const bool stays_below_root = !value.starts_with('/') && value.find("..") == std::string_view::npos;
    return stays_below_root && library_type(value) != 0;
}

static bool set_pci(drive_profile &profile, std::string_view value)
{
    constexpr size_t colon = 4;
    if (value.size() != 9 || value[colon] != ':') return false;
    const auto vendor = parse_bytes(value.substr(0, colon));
    const auto device = parse_bytes(value.substr(colon + 1));
    if (!vendor || !device) return false;
    profile.pci = static_cast<uint32_t>(get_be(*vendor, 0, 2) << 16 | get_be(*device, 0, 2));
    return true;
}

static bool add_faults(const effect &what, drive_profile &profile, std::string_view value)
{
    do {
        auto parsed = parse_fault(what, cut_word(value, ','));
        if (!parsed) return false;
        profile.faults.push_back(std::move(*parsed));
    } while (!value.empty());
    return true;
}

static bool refuse_identify(drive_profile &profile, std::string_view)
{
    return add_faults(*find_effect("refuse"), profile, "ata-EC");
}

// clang-format off
constexpr drive_option option_table[] = {
    /* name                  value                       effect */
    {"serial",               "TEXT",                     set_text<&drive_profile::serial>},
    {"blocks",               "N",                        set_number<&drive_profile::blocks>},
    {"block-length",         "BYTES",                    set_number<&drive_profile::block_length, UINT32_MAX>},
    {"type",                 "N",                        set_number<&drive_profile::device_type, 31>},
    {"read-cache-disabled",  nullptr,                    set_flag<&drive_profile::read_cache_disabled>},
    {"serial-page-revision", nullptr,                    set_flag<&drive_profile::serial_page_revision>},
    {"attention",            "CODE",                     set_number<&drive_profile::attention, UINT16_MAX>},
    {"command-ms",           "N",                        set_number<&drive_profile::command_ms, max_command_ms>},
    {"smart-ID",             "RAW",                      set_smart},
    {"failing",              nullptr,                    set_flag<&drive_profile::predicts_failure>},
    {"in-use",               nullptr,                    set_flag<&drive_profile::is_in_use>},
    {"fw-modes",             "HEX[,HEX...]",             set_modes},
    {"fw-boundary",          "POWER",                    set_number<&drive_profile::fw_boundary, 23>},
    {"fw-capacity",          "BYTES",                    set_number<&drive_profile::fw_capacity, 0xFFFFFF>},
    {"fw-blocks",            "MIN-MAX",                  set_blocks},
    {"fw-dma",               nullptr,                    set_flag<&drive_profile::fw_dma>},
    {"fw-busy",              "S",                        set_seconds<&drive_profile::fw_busy_seconds>},
    {"fw-reset",             "N",                        set_number<&drive_profile::fw_reset>},
    {"fw-attention",         "N",                        set_number<&drive_profile::fw_attention>},
    {"host-driver",          "NAME",                     set_text<&drive_profile::host_driver>},
    {"no-attribute",         "NAME[,NAME...]",           add_attributes},
    {"no-block",             nullptr,                    set_flag<&drive_profile::no_block>},
    {"old-block-link",       nullptr,                    set_flag<&drive_profile::old_block_link>},
    {"no-generic",           nullptr,                    set_flag<&drive_profile::no_generic>},
    {"no-node",              nullptr,                    set_flag<&drive_profile::no_node>},
    {"interface",            "N",                        set_number<&drive_profile::interface, 15>},
    {"library",              "FILE",                     set_library},
    {"pci",                  "VVVV:DDDD",                set_pci},
    {"no-entry-point",       nullptr,                    set_flag<&drive_profile::no_entry_point>},
    {"fis-length",           "BYTES",                    set_number<&drive_profile::fis_length, UINT32_MAX>},
    {"no-identify",          nullptr,                    refuse_identify},
    {"faults-after",         "N",                        set_number<&drive_profile::faults_after>},
    {"gone-after",           "N",                        set_number<&drive_profile::gone_after>},
    {"stand-in",             nullptr,                    set_flag<&drive_profile::wants_stand_in>},
    {"flash-revision",       "TEXT",                     set_text<&drive_profile::flash_revision>},
    {"flash-fails",          "N",                        set_number<&drive_profile::flash_fails>},
    {"flash-exit",           "STATUS",                   set_number<&drive_profile::flash_exit, 255>},
    {"flash-signal",         "N",                        set_number<&drive_profile::flash_signal, 64>},
    {"flash-works-anyway",   nullptr,                    set_flag<&drive_profile::flash_works_anyway>},
    {"flash-needs-power-cycle", nullptr,                 set_flag<&drive_profile::flash_needs_power_cycle>},
    {"flash-seconds",        "S",                        set_seconds<&drive_profile::flash_seconds>},
    {"flash-noise",          "BYTES",                    set_number<&drive_profile::flash_noise>},
};
// clang-format on

constexpr std::string_view smart_prefix = "smart-";

std::string apply_option(drive_profile &profile, std::string_view name, std::optional<std::string_view> value)
{
    std::string smart_value;
    std::string_view key = name;
    if (name.starts_with(smart_prefix) && value) {
        smart_value = std::string(name.substr(smart_prefix.size())) + "=" + std::string(*value);
        value = smart_value;
        key = "smart-ID";
    }
    const auto *const option = std::find_if(std::begin(option_table), std::end(option_table),
                                            [&](const drive_option &o) { return key == o.name; });
    const effect *const fault_effect = find_effect(key);
    if (option == std::end(option_table) && !fault_effect)
        return format_text("unknown word \"%s\"", std::string(name).c_str());

    const char *const word = fault_effect ? fault_effect->word : option->name;
    const char *const form = fault_effect ? fault_effect->value : option->value;
    if (!form && value) return format_text("\"%s\" takes no value", word);
    if (form && !value) return format_text("\"%s\" needs a value", word);
    const bool is_good =
        fault_effect ? add_faults(*fault_effect, profile, *value) : option->set(profile, value.value_or(""));
    if (is_good) return {};
    return format_text("bad value of \"%s\", expected %s=%s", std::string(name).c_str(), word, form);
}

} // namespace rehearsal
