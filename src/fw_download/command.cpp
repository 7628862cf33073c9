#include "fw_download/command.h"

#include <algorithm>
#include <cerrno>

namespace fw_download
{

constexpr uint8_t key_illegal_request = 5;
constexpr uint8_t key_unit_attention = 6;
constexpr uint8_t asc_unknown_command = 0x20;
constexpr uint8_t asc_wrong_field = 0x24;
constexpr int max_attentions = 4;       /* more than a drive keeps in store at a time */
constexpr size_t shown_of_segment = 16; /* enough to know a segment by; a log need not hold the image */

bool is_expected_attention(const outcome &o)
{
    const bool is_reset = o.asc == 0x29;
    const bool is_new_microcode =
        o.asc == 0x3F && (o.ascq == 0x01 || o.ascq == 0x16); /* 16h: without a reset */
    return o.where == layer::drive && o.is_current && o.sense_key == key_unit_attention &&
           (is_reset || is_new_microcode);
}

bool is_unknown_command(const outcome &o)
{
    return o.where == layer::drive && o.is_current && o.sense_key == key_illegal_request &&
           o.asc == asc_unknown_command;
}

bool is_refusal(const outcome &o)
{
    const bool is_wrong_form = o.sense_key == key_illegal_request && o.asc == asc_wrong_field;
    return is_unknown_command(o) ||
           (o.where == layer::drive && o.is_current && (is_wrong_form || o.is_abort));
}

bool is_gone(const outcome &o)
{
    return o.error == ENODEV || o.error == ENXIO;
}

const char *layer_name(layer where)
{
    static const char *const names[] = {"nobody", "host", "transport", "drive"};
    return names[static_cast<int>(where)];
}

outcome execute(const drive &d, const command &c)
{
    detail(d.con, 2, "%s, %d s, %zu bytes %s:\n", c.name, c.timeout_s, std::max(c.in.size(), c.out.size()),
           c.out.empty() ? "in" : "out");
    detail_bytes(d.con, 2, std::span(c.cdb).first(c.cdb_len));
    detail_bytes(d.con, 3, c.out.first(std::min(c.out.size(), shown_of_segment)));
    outcome o = d.way->send(d.handle, c);
    detail(d.con, 2, "%s", o.sense_text.c_str());
    detail(d.con, 1, "%s: %s%s%s (%u ms)\n", c.name, o.is_taken() ? "done" : layer_name(o.where),
           o.text.empty() ? "" : ": ", o.text.c_str(), o.duration_ms);
    detail_bytes(d.con, 3, c.in.first(std::min(c.in.size(), o.received)));
    return o;
}

outcome ask(const drive &d, const command &c)
{
    outcome o = execute(d, c);
    for (int i = 1; i < max_attentions && o.where == layer::drive && o.sense_key == key_unit_attention; ++i)
        o = execute(d, c);
    return o;
}

} // namespace fw_download
