#include "base/pattern.h"

std::string pattern_error(int code, const regex_t *compiled)
{
    std::string words(regerror(code, compiled, nullptr, 0), '\0'); /* counts the NUL */
    regerror(code, compiled, words.data(), words.size());
    words.pop_back();
    return words;
}

regex_ptr compile_pattern(const char *pattern, int flags, std::string *error)
{
    auto compiled = std::make_unique<regex_t>();
    const int code = regcomp(compiled.get(), pattern, flags);
    if (code == 0) return regex_ptr(compiled.release());
    *error = pattern_error(code, compiled.get());
    return nullptr;
}
