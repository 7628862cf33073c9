#include "base/pattern.h"

regex_ptr compile_pattern(const char *pattern, int flags, std::string *error)
{
    auto compiled = std::make_unique<regex_t>();
    const int code = regcomp(compiled.get(), pattern, flags);
    if (code == 0) return regex_ptr(compiled.release());

    const size_t size = regerror(code, compiled.get(), nullptr, 0); /* counts the NUL */
    error->assign(size, '\0');
    regerror(code, compiled.get(), error->data(), size);
    error->resize(size - 1);
    return nullptr;
}
