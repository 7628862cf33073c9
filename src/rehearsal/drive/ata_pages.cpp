#include "rehearsal/drive/ata_pages.h"

#include "rehearsal/drive/firmware.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace rehearsal
{

constexpr size_t page_len = 512;
constexpr uint64_t max_28_bit_sectors = 0x0FFFFFFF;

static reply empty_page()
{
    reply r;
    r.data.resize(page_len);
    r.has_checksum = true;
    return r;
}

static void put_word(std::span<uint8_t> page, size_t word, uint64_t value)
{
    page[word * 2] = static_cast<uint8_t>(value);
    page[word * 2 + 1] = static_cast<uint8_t>(value >> 8);
}

static void put_words(std::span<uint8_t> page, size_t first, size_t count, uint64_t value)
{
    for (size_t i = 0; i < count; ++i)
        put_word(page, first + i, value >> (16 * i));
}

/* Text of an ATA page: two characters a word, the first in the high byte, blanks behind or in front. */
static void put_ata_text(std::span<uint8_t> page, size_t first, size_t last, std::string_view text,
                         bool to_the_right)
{
    const size_t width = (last - first + 1) * 2;
    text = text.substr(0, width);
    const size_t start = to_the_right ? width - text.size() : 0;
    for (size_t i = 0; i < width; ++i) {
        const bool is_text = i >= start && i - start < text.size();
        page[(first * 2 + i) ^ 1] = is_text ? static_cast<uint8_t>(text[i - start]) : ' ';
    }
}

namespace
{
struct word_value {
    uint8_t word;
    uint16_t value;
};
} // namespace

/* What is the same for every drive. */
constexpr word_value identify_words[] = {
    {0,   0x0040}, /* fixed drive */
    {47,  0x8010}, /* up to 16 sectors a READ MULTIPLE */
    {49,  0x0F00}, /* LBA, DMA, standby timer */
    {53,  0x0006}, /* words 64-70 and 88 are valid */
    {63,  0x0007}, /* multiword DMA modes 0 to 2 */
    {64,  0x0003}, /* PIO modes 3 and 4 */
    {75,  0x001F}, /* queue of 32 */
    {76,  0x010E}, /* SATA generations 1 to 3, queueing */
    {80,  0x03F0}, /* ATA/ATAPI-4 to ACS-2 */
    {82,  0x0069}, /* S.M.A.R.T., power management, write cache, look-ahead */
    {83,  0x7401}, /* 48-bit addressing, flush cache, DOWNLOAD MICROCODE */
    {85,  0x0069}, /* the same, enabled */
    {86,  0xB401},
    {88,  0x407F}, /* Ultra DMA mode 6 */
    {217, 7200  }, /* revolutions per minute */
    {222, 0x1060}, /* SATA 2.6 to 3.1 */
    {255, 0x00A5}, /* signature of the checksum */
};

/* Attributes that nearly every drive has. */
constexpr struct {
    uint8_t id;
    uint8_t flags;
    uint8_t value;
    uint64_t raw;
} usual_attributes[] = {
    {1,   0x0F, 100, 0   }, /* raw read error rate */
    {3,   0x03, 97,  0   }, /* spin-up time */
    {4,   0x32, 100, 12  }, /* start/stop count */
    {5,   0x33, 100, 0   }, /* reallocated sectors */
    {7,   0x0F, 80,  0   }, /* seek error rate */
    {9,   0x32, 95,  4711}, /* power-on hours */
    {10,  0x13, 100, 0   }, /* spin retries */
    {12,  0x32, 100, 12  }, /* power cycles */
    {187, 0x32, 100, 0   }, /* reported uncorrectable errors */
    {190, 0x22, 69,  31  }, /* airflow temperature */
    {194, 0x22, 31,  31  }, /* temperature */
    {197, 0x12, 100, 0   }, /* pending sectors */
    {198, 0x10, 100, 0   }, /* uncorrectable sectors */
    {199, 0x3E, 200, 0   }, /* interface CRC errors */
};

constexpr size_t smart_slots = 30;
constexpr size_t smart_slot_len = 12;

static std::span<uint8_t> smart_slot(reply &page, size_t i)
{
    return std::span(page.data).subspan(2 + i * smart_slot_len, smart_slot_len);
}

static void put_raw(std::span<uint8_t> slot, uint64_t raw)
{
    for (size_t i = 0; i < 6; i++, raw >>= 8)
        slot[5 + i] = static_cast<uint8_t>(raw);
}

/* Puts a raw value into the attribute's slot, or into the first free one; a 31st attribute has no place. */
static void put_attribute(reply &page, uint8_t id, uint64_t raw)
{
    for (size_t i = 0; i < smart_slots; ++i) {
        const auto slot = smart_slot(page, i);
        if (slot[0] != 0 && slot[0] != id) continue;
        if (slot[0] == 0) std::copy_n(std::array<uint8_t, 5>{id, 0x32, 0, 100, 100}.begin(), 5, slot.begin());
        put_raw(slot, raw);
        return;
    }
}

/* Where the drive says how it takes microcode. */
static void put_download(std::span<uint8_t> page, const drive_profile &profile)
{
    constexpr uint16_t in_segments_bit = 0x0010;
    const bool has_log = offers_mode(profile, 0x0E);
    put_word(page, 69, profile.fw_dma ? 0x0100 : 0);
    put_word(page, 84,
             has_log ? 0x4023 : 0x4003); /* S.M.A.R.T. error logging, self-test; general purpose logging */
    put_word(page, 87, has_log ? 0x4023 : 0x4003); /* the same, enabled */
    for (const size_t word : {119, 120})
        put_word(page, word, 0x4000 | (offers_mode(profile, 0x03) ? in_segments_bit : 0));
    put_word(page, 234, profile.fw_min_blocks);
    put_word(page, 235, profile.fw_max_blocks);
}

reply identify_page(const drive_profile &profile, const drive_state &state)
{
    reply r = empty_page();
    for (const word_value &w : identify_words)
        put_word(r.data, w.word, w.value);
    put_ata_text(r.data, 10, 19, profile.serial, true);
    put_ata_text(r.data, 23, 26, state.revision, false);
    put_ata_text(r.data, 27, 46, profile.model, false);
    put_download(r.data, profile);
    put_words(r.data, 60, 2, std::min(profile.blocks, max_28_bit_sectors));
    put_words(r.data, 100, 4, profile.blocks);
    put_word(r.data, 106, 0x4000);
    if (profile.block_length != page_len) {
        put_word(r.data, 106, 0x5000); /* a logical sector longer than 256 words */
        put_words(r.data, 117, 2, profile.block_length / 2);
    }
    put_words(r.data, 108, 4, 0x3000 | uint64_t{profile.index + 1} << 48);
    return r;
}

reply capabilities_page()
{
    reply r;
    r.data.resize(page_len);
    put_words(r.data, 0, 4, 0x8000000000030001);
    put_words(r.data, 8, 4, uint64_t{1} << 63 | uint64_t{1} << 34);
    return r;
}

reply smart_data_page(const drive_profile &profile)
{
    reply r = empty_page();
    put_word(r.data, 0, 16);
    for (size_t i = 0; i < std::size(usual_attributes); ++i) {
        const auto &a = usual_attributes[i];
        const auto slot = smart_slot(r, i);
        slot[0] = a.id;
        slot[1] = a.flags;
        slot[3] = a.value;
        slot[4] = a.value;
        put_raw(slot, a.raw);
    }
    for (const auto &[id, raw] : profile.smart)
        put_attribute(r, id, raw);
    r.data[367] = 0x7B; /* offline collection as usual */
    r.data[368] = 0x03; /* keeps attributes when power goes */
    r.data[370] = 0x01; /* keeps an error log */
    return r;
}

} // namespace rehearsal
