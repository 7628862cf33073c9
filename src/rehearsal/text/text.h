/* text.h - numbers, bytes and words out of the inventory's texts, and the other way round. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace rehearsal
{

/* An unsigned number, decimal or with 0x hexadecimal; nothing when any other character is there or it is too
 * big. */
std::optional<uint64_t> parse_number(std::string_view text);

/* Pairs of hexadecimal digits, at least one pair and no blanks. */
std::optional<std::vector<uint8_t>> parse_bytes(std::string_view text);

/* Cuts the part before the first delimiter off text (all of it when there is none) and returns that part. */
std::string_view cut_word(std::string_view &text, char delimiter);

/* printf into a text of whatever length it takes. */
__attribute__((format(printf, 1, 2))) std::string format_text(const char *format, ...);

/* "12 01 80": lower-case pairs, one blank between. */
std::string hex_text(std::span<const uint8_t> bytes);

} // namespace rehearsal
