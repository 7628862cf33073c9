#include "fw_download/ata_drive.h"

#include "fw_download/blocks.h"

#include "base/text.h"

#include <algorithm>
#include <numeric>
#include <scsi/sg_unaligned.h>

namespace fw_download
{

constexpr uint8_t checksum_signature = 0xA5;
constexpr uint8_t identify_log = 0x30;
constexpr uint16_t capabilities_page = 3;
constexpr size_t capabilities_at = 16; /* DOWNLOAD MICROCODE capabilities, a quadword */

static uint16_t word(const identify_data &data, size_t number)
{
    return sg_get_unaligned_le16(&data[2 * number]);
}

static bool has_bit(uint64_t value, unsigned bit)
{
    return (value >> bit & 1) != 0;
}

/* Words 83, 84, 86-87, 119 and 120 hold facts only where bits 15:14 of them, or of their group's last, read
 * 01b. */
static bool is_valid(uint16_t w)
{
    return w >> 14 == 1;
}

std::optional<identify_data> ask_identify(const drive &d, outcome *how)
{
    identify_data data = {};
    const outcome o = ask(d, identify_device(data));
    if (how) *how = o;
    if (!o.is_taken() || o.received < data.size() || has_bit(word(data, 0), 15)) return std::nullopt;
    const auto sum = static_cast<uint8_t>(std::accumulate(data.begin(), data.end(), 0U));
    if (data[510] == checksum_signature && sum != 0) return std::nullopt;
    if (std::all_of(data.begin(), data.end(), [](uint8_t byte) { return byte == 0; })) return std::nullopt;
    return data;
}

/* Two characters a word, the first one in its high byte. */
static std::string text_in(const identify_data &data, size_t first, size_t last)
{
    std::string s;
    for (size_t i = 2 * first; i < 2 * (last + 1); ++i) {
        const auto c = static_cast<char>(data[i ^ 1]);
        s += c == '\0' ? ' ' : c < ' ' || c > '~' ? '?' : c;
    }
    stripblanks(s);
    return s;
}

std::string identify_model(const identify_data &data)
{
    return text_in(data, 27, 46);
}

std::string identify_revision(const identify_data &data)
{
    return text_in(data, 23, 26);
}

/* Only the IDENTIFY DEVICE data log tells of 0Eh and 0Fh. */
static bool ask_deferred(const drive &d, const identify_data &data)
{
    const bool has_logs = (is_valid(word(data, 84)) && has_bit(word(data, 84), 5)) ||
                          (is_valid(word(data, 87)) && has_bit(word(data, 87), 5));
    if (!has_logs) return false;
    identify_data page = {};
    const outcome o = ask(d, read_log_ext(identify_log, capabilities_page, page));
    if (!o.is_taken() || o.received < page.size()) return false;
    const uint64_t header = sg_get_unaligned_le64(&page[0]);
    const uint64_t capabilities = sg_get_unaligned_le64(&page[capabilities_at]);
    const bool is_page = has_bit(header, 63) && (header >> 16 & 0xFF) == capabilities_page;
    return is_page && has_bit(capabilities, 63) && has_bit(capabilities, 34);
}

/* 0 and FFFFh both say that there is no such limit. */
static uint16_t limit_in(uint16_t w)
{
    return w == 0xFFFF ? uint16_t{0} : w;
}

ata_offer ask_ata_offer(const drive &d, const identify_data &data)
{
    ata_offer offered;
    offered.is_offered = (is_valid(word(data, 83)) && has_bit(word(data, 83), 0)) ||
                         (is_valid(word(data, 87)) && has_bit(word(data, 86), 0));
    if (!offered.is_offered) return offered;
    offered.has_dma = has_bit(word(data, 69), 8);
    offered.offsets = (is_valid(word(data, 119)) && has_bit(word(data, 119), 4)) ||
                      (is_valid(word(data, 120)) && has_bit(word(data, 120), 4));
    offered.min_blocks = limit_in(word(data, 234));
    offered.max_blocks = limit_in(word(data, 235));
    if (!offered.offsets) offered.defer = ask_deferred(d, data);
    return offered;
}

void tell_ata_condition(const drive &d)
{
    const outcome ready = ask(d, test_unit_ready());
    if (!ready.is_taken())
        say(d.con, "the drive is not ready: %s: %s\n", layer_name(ready.where), ready.text.c_str());
    const outcome smart = ask(d, smart_return_status());
    if (smart.is_threshold_passed) say(d.con, "the drive reports an imminent failure\n");
}

} // namespace fw_download
