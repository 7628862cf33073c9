#include "fw_download/answer.h"

#include "base/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <scsi/sg_lib.h>

namespace fw_download
{

constexpr size_t sense_text_size = 2048;
constexpr int ata_return_descriptor = 0x09;
constexpr size_t ata_return_size = 14;
constexpr uint8_t error_abort = 0x04;
constexpr uint8_t deferred_fixed = 0x71;
constexpr uint8_t deferred_descriptor = 0x73;

/* Host statuses that tell of the way to the drive rather than of this machine: no connection, transport
 * disrupted, failed fast, marginal. */
constexpr int link_statuses[] = {0x01, 0x0E, 0x0F, 0x14};

/* The library writes lines; an outcome has one. */
static std::string one_line(std::string text)
{
    strip_trailing_space(text);
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

static outcome not_accepted(const answer &a)
{
    outcome o = {.where = layer::host, .error = a.error};
    o.text = strerror(a.error);
    if (a.error == EINVAL) o.text += ", nothing was sent: the adapter does not carry so much in one command";
    if (is_gone(o)) o.text += ", the drive has vanished";
    return o;
}

static outcome lost(const answer &a)
{
    const bool is_link = std::find(std::begin(link_statuses), std::end(link_statuses), a.host_status) !=
                         std::end(link_statuses);
    outcome o = {.where = is_link || a.host_status == 0 ? layer::transport : layer::host};
    o.text = one_line(a.host_text);
    return o;
}

/* The registers of an ATA drive, for those who answer with them. */
static void add_registers(std::span<const uint8_t> sense, outcome *o)
{
    const uint8_t *d =
        sg_scsi_sense_desc_find(sense.data(), static_cast<int>(sense.size()), ata_return_descriptor);
    if (!d || static_cast<size_t>(sense.data() + sense.size() - d) < ata_return_size) return;
    o->is_abort = (d[3] & error_abort) != 0;
    o->is_threshold_passed = d[9] == 0xF4 && d[11] == 0x2C; /* LBA 15:8 and 23:16, as SMART has it */
    o->text += format_text(question_size, ", ATA error %02Xh status %02Xh", d[3], d[13]);
}

static outcome judge_sense(const answer &a)
{
    outcome o = {.where = layer::drive};
    sg_scsi_sense_hdr header = {};
    if (!sg_scsi_normalize_sense(a.sense.data(), static_cast<int>(a.sense.size()), &header)) {
        o.text = "CHECK CONDITION without sense data";
        return o;
    }
    o.sense_key = header.sense_key;
    o.asc = header.asc;
    o.ascq = header.ascq;
    o.is_current = header.response_code != deferred_fixed && header.response_code != deferred_descriptor;
    const bool is_success =
        o.is_current && (o.sense_key == SPC_SK_RECOVERED_ERROR || o.sense_key == SPC_SK_NO_SENSE);
    if (is_success) o.where = layer::none;

    char key[64], meaning[256];
    sg_get_sense_key_str(o.sense_key, sizeof key, key);
    sg_get_asc_ascq_str(o.asc, o.ascq, sizeof meaning, meaning);
    o.text = one_line(format_text(command_size * 2, "%s%s, %s (%X/%02X/%02X)",
                                  o.is_current ? "" : "of an earlier command: ", key, meaning, o.sense_key,
                                  o.asc, o.ascq));
    add_registers(a.sense, &o);
    return o;
}

outcome judge(const answer &a)
{
    if (a.error != 0) return not_accepted(a);
    if (a.is_lost) return lost(a);
    if (a.status == SAM_STAT_GOOD) return {};
    if (a.status == SAM_STAT_CHECK_CONDITION) return judge_sense(a);
    char words[128] = "";
    sg_get_scsi_status_str(a.status, sizeof words, words);
    outcome o = {.where = layer::drive};
    o.text = one_line(words);
    return o;
}

std::string decoded_sense(std::span<const uint8_t> sense)
{
    std::string text(sense_text_size, '\0');
    const int n = sg_get_sense_str("    ", sense.data(), static_cast<int>(sense.size()), true,
                                   static_cast<int>(text.size()), text.data());
    text.resize(n < 0 ? 0 : std::min(static_cast<size_t>(n), text.size() - 1));
    return text;
}

} // namespace fw_download
