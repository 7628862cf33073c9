#include "base/text.h"

#include "base/trace.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <unistd.h>

static bool is_space(char c)
{
    return isspace(static_cast<unsigned char>(c)) != 0;
}

const char *shown(const text &t)
{
    return t ? t->c_str() : "(null)";
}

std::string shown_on(FILE *f, const text &t)
{
    std::string shown_text = shown(t);
    if (isatty(fileno(f)))
        std::replace_if(
            shown_text.begin(), shown_text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return shown_text;
}

std::string format_text(size_t size, const char *fmt, ...)
{
    std::string result(size, '\0');
    va_list args;
    va_start(args, fmt);
    const int n = vsnprintf(result.data(), size, fmt, args);
    va_end(args);
    const size_t len = n < 0 ? 0 : static_cast<size_t>(n);
    result.resize(std::min(len, size - 1));
    if (len >= size) say("cut to %zu characters: %s\n", size - 1, result.c_str());
    return result;
}

std::string my_strdup(const char *from, const char *to)
{
    return to < from ? std::string() : std::string(from, to + 1);
}

void strip_trailing_space(std::string &s)
{
    while (!s.empty() && is_space(s.back()))
        s.pop_back();
}

void stripblanks(std::string &s)
{
    size_t start = 0;
    while (start < s.size() && is_space(s[start]))
        ++start;
    s.erase(0, start);
    strip_trailing_space(s);
}

std::string stripcr(std::string_view s)
{
    size_t len = 0;
    while (len < s.size() && isprint(static_cast<unsigned char>(s[len])))
        ++len;
    return std::string(s.substr(0, len));
}

const char *last_component(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

const char *next_token(const char *s, char delim, char *dst, size_t avail)
{
    if (!s || *s == '\0') return nullptr;
    const char *end = strchr(s, delim);
    const size_t len = end ? static_cast<size_t>(end - s) : strlen(s);
    const size_t copied = avail > 0 ? std::min(len, avail - 1) : 0;
    if (avail > 0) {
        memcpy(dst, s, copied);
        dst[copied] = '\0';
    }
    return end ? end + 1 : s + len;
}
