#include "catalogue/prefilter.h"

#include <algorithm>
#include <cstring>

prefilter find_prefilter(const std::string &pattern)
{
    static constexpr char plain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 -_/";
    if (pattern.find('|') != std::string::npos) return {"", false};
    const size_t start = pattern.starts_with('^') ? 1 : 0;
    size_t end = std::min(pattern.find_first_not_of(plain, start), pattern.size());
    const bool is_repeated = end < pattern.size() && strchr("*+?{", pattern[end]);
    if (is_repeated && end > start) --end; /* the last character may be missing */
    return {pattern.substr(start, end - start), start == 1};
}

bool may_match(const prefilter &filter, const std::string &text)
{
    return filter.is_anchored ? text.starts_with(filter.plain) : text.find(filter.plain) != std::string::npos;
}
