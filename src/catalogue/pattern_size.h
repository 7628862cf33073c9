/* pattern_size.h - which patterns of a map the regular-expression library can take. */
#pragma once

/* The end of the bracket expression that starts at p: its closing bracket, or the pattern's end. */
const char *skip_bracket(const char *p);

/* True for an extended pattern (POSIX, with the GNU escapes) that the library may need gigabytes or hours
 * for: more than 4,096 characters that repetition adds, something repeated that can be empty, many anchors in
 * a row, more than two back-references or a long pattern with one. What is left takes less than half a
 * gigabyte and about a second. A pattern that is none is left to the library to refuse. */
bool is_too_big(const char *pattern);
