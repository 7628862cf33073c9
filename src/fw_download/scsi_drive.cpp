#include "fw_download/scsi_drive.h"

#include "fw_download/blocks.h"

#include "base/text.h"

#include <algorithm>
#include <scsi/sg_unaligned.h>

namespace fw_download
{

constexpr size_t inquiry_size = 36;
constexpr uint8_t ata_information_page = 0x89;
constexpr uint8_t op_write_buffer = 0x3B;
constexpr uint8_t asc_failure_predicted = 0x5D;

/* A text field of what a drive sent: what a terminal might obey reads '?'. */
static std::string field(std::span<const uint8_t> bytes)
{
    std::string s(bytes.begin(), bytes.end());
    std::replace_if(
        s.begin(), s.end(), [](char c) { return c != '\0' && (c < ' ' || c > '~'); }, '?');
    std::replace(s.begin(), s.end(), '\0', ' ');
    stripblanks(s);
    return s;
}

std::optional<identity> ask_identity(const drive &d)
{
    uint8_t data[inquiry_size] = {};
    const outcome o = ask(d, inquiry(data));
    if (!o.is_taken() || o.received < inquiry_size) return std::nullopt;
    const std::span all(data);
    return identity{.type = data[0],
                    .vendor = field(all.subspan(8, 8)),
                    .product = field(all.subspan(16, 16)),
                    .revision = field(all.subspan(32, 4))};
}

bool is_translated(const drive &d, const identity &id)
{
    if (id.vendor == "ATA") return true;
    uint8_t page[4] = {};
    const outcome o = ask(d, inquiry_page(ata_information_page, page));
    return o.is_taken() && o.received == sizeof page && page[1] == ata_information_page;
}

void tell_condition(const drive &d)
{
    const outcome ready = ask(d, test_unit_ready());
    if (!ready.is_taken())
        say(d.con, "the drive is not ready: %s: %s\n", layer_name(ready.where), ready.text.c_str());

    uint8_t sense[18] = {};
    const outcome o = ask(d, request_sense(sense));
    const bool is_predicted = o.is_taken() && o.received >= 14 && sense[12] == asc_failure_predicted;
    if (is_predicted || ready.asc == asc_failure_predicted)
        say(d.con, "the drive reports an imminent failure\n");
}

/* The SUPPORT field of an answer about one command or one service action. */
static offer support_in(const outcome &o, std::span<const uint8_t> data)
{
    if (!o.is_taken() || o.received < data.size()) return offer::unknown;
    switch (data[1] & 7) {
    case 1:
        return offer::no;
    case 3: /* as the standard has it */
    case 5: /* in the maker's manner */
        return offer::yes;
    default:
        return offer::unknown;
    }
}

/* The modes of WRITE BUFFER count as its service actions. A drive that does not see them so refuses a
 * question about one, or knows none of them, and is asked about the command as a whole. */
static void ask_modes(const drive &d, scsi_offer *offered)
{
    const struct {
        uint8_t mode;
        offer *answer;
    } modes[] = {
        {mode_offsets_or_whole, &offered->offsets },
        {mode_whole_scsi,       &offered->whole   },
        {mode_defer,            &offered->defer   },
        {mode_activate,         &offered->activate},
    };
    uint8_t data[4] = {};
    bool is_refused = false;
    bool knows_none = true;
    for (const auto &m : modes) {
        const outcome o = ask(d, report_service_action(op_write_buffer, m.mode, data));
        if (is_unknown_command(o)) return;
        is_refused = !o.is_taken();
        if (is_refused) break;
        *m.answer = support_in(o, data);
        knows_none = knows_none && *m.answer == offer::no;
    }
    if (!is_refused && !knows_none) return;
    const offer whole = support_in(ask(d, report_operation_code(op_write_buffer, data)), data);
    for (const auto &m : modes)
        if (is_refused ? whole == offer::no : whole == offer::yes)
            *m.answer = is_refused ? offer::no : offer::unknown;
}

scsi_offer ask_scsi_offer(const drive &d)
{
    scsi_offer offered;
    uint8_t descriptor[4] = {};
    const outcome o = ask(d, read_buffer_descriptor(descriptor));
    if (o.is_taken() && o.received == sizeof descriptor) {
        offered.boundary = descriptor[0];
        offered.capacity = sg_get_unaligned_be24(descriptor + 1);
    }
    ask_modes(d, &offered);
    return offered;
}

} // namespace fw_download
