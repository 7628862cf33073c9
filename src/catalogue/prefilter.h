/* prefilter.h - telling at little cost that a pattern won't match. Most lines of a long map are for other
 * models: a comparison of plain text tells so a hundred times faster than a pattern, and a pattern takes some
 * KiB more once it has been tried. */
#pragma once

#include <string>

struct prefilter {
    std::string plain; /* every match begins with it; empty where nothing can be told */
    bool is_anchored;  /* at the text's start */
};

/* What is plain in an extended pattern. */
prefilter find_prefilter(const std::string &pattern);

/* False when the pattern can't match the text. */
bool may_match(const prefilter &filter, const std::string &text);
