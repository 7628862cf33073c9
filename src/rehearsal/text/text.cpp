#include "rehearsal/text/text.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>

namespace rehearsal
{

std::optional<uint64_t> parse_number(std::string_view text)
{
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    if (is_hex) text.remove_prefix(2);
    uint64_t value = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, is_hex ? 16 : 10);
    if (text.empty() || error != std::errc() || stop != end) return std::nullopt;
    return value;
}

std::optional<std::vector<uint8_t>> parse_bytes(std::string_view text)
{
    if (text.empty() || text.size() % 2 != 0) return std::nullopt;
    std::vector<uint8_t> bytes;
    for (; !text.empty(); text.remove_prefix(2)) {
        uint8_t byte = 0;
        const auto [stop, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (error != std::errc() || stop != text.data() + 2) return std::nullopt;
        bytes.push_back(byte);
    }
    return bytes;
}

std::string_view cut_word(std::string_view &text, char delimiter)
{
    const size_t len = text.find(delimiter);
    const std::string_view word = text.substr(0, len);
    text.remove_prefix(len == std::string_view::npos ? text.size() : len + 1);
    return word;
}

std::string format_text(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int len = vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text(len > 0 ? static_cast<size_t>(len) : 0, '\0');
    vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string hex_text(std::span<const uint8_t> bytes)
{
    std::string text;
    for (const uint8_t byte : bytes)
        text += format_text(text.empty() ? "%02x" : " %02x", byte);
    return text;
}

} // namespace rehearsal
