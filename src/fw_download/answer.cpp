#include "fw_download/answer.h"

#include "base/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <scsi/sg_lib.h>

namespace fw_download
{

constexpr size_t sense_text_size = 2048;
constexpr int ata_return_descriptor = 0x09;
constexpr size_t ata_return_size = 14;
constexpr size_t fixed_registers_size = 12;
constexpr uint8_t error_abort = 0x04;
constexpr uint8_t error_link = 0x80;
constexpr uint8_t status_error = 0x01;
constexpr uint8_t current_fixed = 0x70;
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
    if (a.error == EINVAL) o.text += ", nothing was sent";
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

namespace
{
/* What a translator tells of an ATA drive's registers after a command. */
struct registers {
    uint8_t error;
    uint8_t status;
    uint8_t lba_mid;  /* 15:8 */
    uint8_t lba_high; /* 23:16 */
};
} // namespace

/* SAT has two places for them: a descriptor, and in fixed sense data the INFORMATION and COMMAND-SPECIFIC
 * INFORMATION fields. Kernels before 6.7 put error and status of an aborted command into the second of these.
 */
static std::optional<registers> find_registers(const answer &a, const outcome &o)
{
    const auto s = a.sense;
    const uint8_t *d = sg_scsi_sense_desc_find(s.data(), static_cast<int>(s.size()), ata_return_descriptor);
    if (d && static_cast<size_t>(s.data() + s.size() - d) >= ata_return_size)
        return registers{d[3], d[13], d[9], d[11]};
    const bool is_fixed = a.is_ata && s.size() >= fixed_registers_size && (s[0] & 0x7F) == current_fixed;
    if (!is_fixed) return std::nullopt;
    const bool is_valid = (s[0] & 0x80) != 0;
    if (is_valid) return registers{s[3], s[4], s[10], s[11]};
    const bool is_bare_abort = o.sense_key == SPC_SK_ABORTED_COMMAND && o.asc == 0 && o.ascq == 0;
    return is_bare_abort ? std::optional(registers{s[8], s[9], 0, 0}) : std::nullopt;
}

/* A drive that aborts a command sets ERR and ABRT; with ICRC beside it the link failed, not the command. */
static void add_registers(const answer &a, outcome *o)
{
    const auto r = find_registers(a, *o);
    if (!r) return;
    o->is_abort =
        (r->status & status_error) != 0 && (r->error & error_abort) != 0 && (r->error & error_link) == 0;
    o->is_threshold_passed = r->lba_mid == 0xF4 && r->lba_high == 0x2C; /* as SMART has it */
    o->text += format_text(question_size, ", ATA error %02Xh status %02Xh", r->error, r->status);
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
    add_registers(a, &o);
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
