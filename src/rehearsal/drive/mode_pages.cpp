#include "rehearsal/drive/mode_pages.h"

#include <algorithm>
#include <array>

namespace rehearsal
{

constexpr size_t header_len = 4;
constexpr size_t block_descriptor_len = 8;
constexpr uint8_t caching_page_code = 0x08;
constexpr uint8_t all_pages = 0x3F;
constexpr uint8_t page_saveable = 0x80;
constexpr uint8_t dpo_fua = 0x10;
constexpr uint8_t changeable_caching = 0x05; /* read cache disable, write cache enable */
constexpr uint8_t usual_caching = 0x04;
constexpr size_t caching_flags = 2; /* offset in the page */

using caching_page = std::array<uint8_t, 20>;

namespace
{
enum page_control { current_values, changeable_values, default_values, saved_values };
} // namespace

static caching_page build_caching_page(uint8_t flags)
{
    caching_page page = {caching_page_code, sizeof page - 2, flags};
    return page;
}

static reply invalid_parameter_list()
{
    return check_condition(0x05, 0x26, 0x00);
}

static reply parameter_list_length_error()
{
    return check_condition(0x05, 0x1A, 0x00);
}

static uint8_t caching_flags_of(page_control control, const drive_state &state)
{
    if (control == changeable_values) return changeable_caching;
    return control == default_values ? usual_caching : state.caching;
}

reply mode_sense_6(const drive_profile &profile, drive_state &state, const request &req)
{
    const bool has_descriptor = (req.bytes[1] & 0x08) == 0;
    const auto control = static_cast<page_control>(req.bytes[2] >> 6);
    const uint8_t code = req.bytes[2] & 0x3F;
    if ((code != caching_page_code && code != all_pages) || req.bytes[3] != 0) return invalid_cdb_field();

    reply r;
    r.data.resize(header_len + (has_descriptor ? block_descriptor_len : 0));
    r.data[2] = dpo_fua;
    if (has_descriptor) {
        r.data[3] = block_descriptor_len;
        put_be(r.data, header_len, 4, std::min<uint64_t>(profile.blocks, UINT32_MAX));
        put_be(r.data, header_len + 5, 3, profile.block_length);
    }
    caching_page page = build_caching_page(caching_flags_of(control, state));
    page[0] |= page_saveable;
    r.data.insert(r.data.end(), page.begin(), page.end());
    r.data[0] = static_cast<uint8_t>(r.data.size() - 1);
    if (r.data.size() > req.bytes[4]) r.data.resize(req.bytes[4]); /* the allocation length */
    return r;
}

/* The page-format bit is not looked at: drives take the list without it as well, and some tools leave it out.
 * The header's length byte is reserved here; it comes back as MODE SENSE gave it. */
reply mode_select_6(const drive_profile &, drive_state &state, const request &req)
{
    const auto list =
        std::span<const uint8_t>(req.data).first(std::min<size_t>(req.data.size(), req.bytes[4]));
    if (list.empty()) return {};
    if (list.size() < header_len || list.size() != header_len + list[3] + sizeof(caching_page))
        return parameter_list_length_error();
    const auto page = list.subspan(header_len + list[3]);
    caching_page expected = build_caching_page(state.caching);
    expected[caching_flags] = static_cast<uint8_t>((state.caching & ~changeable_caching) |
                                                   (page[caching_flags] & changeable_caching));
    if (!std::equal(page.begin(), page.end(), expected.begin())) return invalid_parameter_list();
    state.caching = page[caching_flags];
    return {};
}

} // namespace rehearsal
