/* pattern.h - POSIX regular expressions with their compile errors as text. */
#pragma once

#include "base/handles.h"

#include <string>

/* Compiles pattern with the given REG_ flags. Returns it, or null with the library's own words in *error. */
regex_ptr compile_pattern(const char *pattern, int flags, std::string *error);

/* The library's words for one of its REG_ error codes; `compiled` is what regcomp was given, or null. */
std::string pattern_error(int code, const regex_t *compiled);
