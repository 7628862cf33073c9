#include "rehearsal/profile/faults.h"

#include "rehearsal/text/text.h"

#include <algorithm>

namespace rehearsal
{

/* In the order of library_request. */
constexpr const char *library_requests[] = {
    "lib-init",         "lib-exit",        "lib-ctrl-info", "lib-pd-list", "lib-pd-info",
    "lib-start-locate", "lib-stop-locate", "lib-scsi",      "lib-stp",
};

/* A library answers with a status and with data; the rest is between a host and a drive. */
static bool can_meet_library(const effect &what)
{
    return what.time == after_command_or_request || is_library_status(what);
}

static bool parse_command(std::string_view word, fault &f)
{
    if (word == "any") return true;
    if (word.starts_with("lib-")) {
        const auto *const found = std::find(std::begin(library_requests), std::end(library_requests), word);
        f.library = static_cast<library_request>(found - library_requests);
        return found != std::end(library_requests) && can_meet_library(*f.what);
    }
    f.is_ata = word.starts_with("ata-");
    if (f.is_ata) word.remove_prefix(4);
    const auto bytes = parse_bytes(word);
    if (!bytes || bytes->size() > (f.is_ata ? 2U : 16U)) return false;
    f.prefix = *bytes;
    return true;
}

const char *name_of(library_request wanted)
{
    return library_requests[static_cast<int>(wanted)];
}

std::optional<fault> parse_fault(const effect &what, std::string_view text)
{
    fault f;
    f.what = &what;
    if (std::count(text.begin(), text.end(), ':') != what.has_number + what.has_bytes) return std::nullopt;
    if (!parse_command(cut_word(text, ':'), f)) return std::nullopt;
    if (what.has_number) {
        const auto number = parse_number(cut_word(text, ':'));
        if (!number) return std::nullopt;
        f.number = *number;
    }
    if (what.has_bytes) {
        const auto bytes = parse_bytes(text);
        if (!bytes) return std::nullopt;
        f.bytes = *bytes;
    }
    return f;
}

bool meets(const fault &f, const request &req)
{
    if (f.library || (f.is_ata && !req.ata)) return false;
    const uint8_t ata[] = {req.ata ? req.ata->command : uint8_t{0},
                           req.ata ? static_cast<uint8_t>(req.ata->feature) : uint8_t{0}};
    const std::span<const uint8_t> sent = f.is_ata ? std::span<const uint8_t>(ata) : req.bytes;
    return f.prefix.size() <= sent.size() && std::equal(f.prefix.begin(), f.prefix.end(), sent.begin());
}

} // namespace rehearsal
