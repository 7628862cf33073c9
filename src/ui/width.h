/* width.h - how much of a text fits a screen row. */
#pragma once

#include <string>
#include <string_view>

/* s with every byte that a terminal could obey shown harmlessly: control characters, and bytes that are no
 * character in the terminal's character set, become '?'. Tabs become blanks up to the next multiple of 8
 * columns. */
std::string printable(std::string_view s);

/* The beginning of s that fills at most `columns` columns, in the form printable() gives it. */
std::string cut_to_width(std::string_view s, int columns);

/* The same for a line with carriage returns: what a terminal shows of it in the end, each part written over
 * the beginning of those before. */
std::string overprint(std::string_view line, int columns);
