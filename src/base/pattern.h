/* pattern.h - POSIX regular expressions with their compile errors as text. */
#pragma once

#include "base/handles.h"

#include <string>

/* The end of the bracket expression that starts at p: its closing bracket, or the pattern's end. */
const char *skip_bracket(const char *p);

/* Compiles pattern with the given REG_ flags. Returns it, or null with the library's own words in *error. A
 * pattern whose repetitions multiply beyond all use is refused as too big: the library would take all memory
 * for it. */
regex_ptr compile_pattern(const char *pattern, int flags, std::string *error);
