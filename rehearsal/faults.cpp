#include "faults.h"

#include "text.h"

#include <algorithm>

namespace rehearsal
{

namespace
{

struct effect_form {
    bool has_number;
    bool has_bytes;
};

effect_form form_of(effect kind)
{
    switch (kind) {
    case effect::refuse:
    case effect::hang:
    case effect::enodev:
        return {false, false};
    case effect::sense:
    case effect::answer:
        return {false, true};
    case effect::status:
    case effect::host_status:
    case effect::driver_status:
    case effect::cut:
        return {true, false};
    case effect::patch:
        return {true, true};
    }
    return {false, false};
}

bool parse_command(std::string_view word, fault &f)
{
    if (word == "any") return true;
    f.is_ata = word.starts_with("ata-");
    if (f.is_ata) word.remove_prefix(4);
    const auto bytes = parse_bytes(word);
    if (!bytes || bytes->size() > (f.is_ata ? 2U : 16U)) return false;
    f.prefix = *bytes;
    return true;
}

} // namespace

std::optional<fault> parse_fault(effect kind, std::string_view text)
{
    fault f{kind, false, {}, 0, {}};
    const effect_form form = form_of(kind);
    if (std::count(text.begin(), text.end(), ':') != form.has_number + form.has_bytes) return std::nullopt;
    if (!parse_command(cut_word(text, ':'), f)) return std::nullopt;
    if (form.has_number) {
        const auto number = parse_number(cut_word(text, ':'));
        if (!number) return std::nullopt;
        f.number = *number;
    }
    if (form.has_bytes) {
        const auto bytes = parse_bytes(text);
        if (!bytes) return std::nullopt;
        f.bytes = *bytes;
    }
    return f;
}

bool meets(const fault &f, const request &req)
{
    if (f.is_ata && !req.ata) return false;
    const uint8_t ata[] = {req.ata ? req.ata->command : uint8_t{0},
                           req.ata ? static_cast<uint8_t>(req.ata->feature) : uint8_t{0}};
    const std::span<const uint8_t> sent = f.is_ata ? std::span<const uint8_t>(ata) : req.bytes;
    return f.prefix.size() <= sent.size() && std::equal(f.prefix.begin(), f.prefix.end(), sent.begin());
}

} // namespace rehearsal
