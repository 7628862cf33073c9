#include "base/pattern.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vector>

/* States. A map line filled with "a+a+a+..." needs so many; with more that can be left out, what the library
 * keeps of which state leads to which others grows to hundreds of megabytes. */
constexpr double max_expanded_size = 12288;
constexpr double back_reference_size =
    3000; /* hardly any states, but each can multiply the time of a match */

/* The end of the bracket expression that starts at p: its closing bracket, or the pattern's end. */
static const char *skip_bracket(const char *p)
{
    ++p;
    if (*p == '^') ++p;
    if (*p == ']') ++p;
    while (*p != '\0' && *p != ']') {
        const char close[] = {p[1], ']', '\0'}; /* of a class, as in "[:alpha:]" */
        const bool is_class = *p == '[' && (p[1] == ':' || p[1] == '.' || p[1] == '=');
        const char *inner = is_class ? strstr(p + 2, close) : nullptr;
        p = inner ? inner + 2 : p + 1;
    }
    return p;
}

/* How often a "{n,m}" at p repeats, at most; 1 when there is no such thing. Moves *p to its last character.
 */
static double repetitions(const char **p)
{
    unsigned most = 0;
    const char *q = *p + 1;
    while (isdigit(static_cast<unsigned char>(*q)) || *q == ',') {
        char *behind = const_cast<char *>(q) + 1;
        if (*q != ',')
            most = std::max(most, static_cast<unsigned>(std::min(strtoul(q, &behind, 10), 0xFFFFUL)));
        q = behind;
    }
    if (*q != '}' || q == *p + 1) return 1;
    *p = q;
    return most + 1.0;
}

/* Roughly the number of states that an extended pattern needs once its repetitions are written out. */
static double expanded_size(const char *pattern)
{
    std::vector<double> groups; /* sizes of what stands before each open parenthesis */
    double sum = 0;             /* of the innermost group so far, without its last atom */
    double atom = 0;
    for (const char *p = pattern; *p != '\0'; ++p) {
        switch (*p) {
        case '*':
        case '?':
            atom += 1;
            break;
        case '+':
            atom = atom * 2 + 1; /* one or more: a copy, and any number */
            break;
        case '{':
            atom = (atom + 1) * repetitions(&p); /* each copy may be one that can be left out */
            break;
        case '(':
            groups.push_back(sum + atom);
            sum = atom = 0;
            break;
        case ')':
            atom += sum + 1;
            sum = 0;
            if (groups.empty()) break;
            sum = groups.back();
            groups.pop_back();
            break;
        default:
            sum += atom;
            atom = 1;
            if (*p == '[') p = skip_bracket(p);
            if (*p != '\\' || p[1] == '\0') break;
            if (isdigit(static_cast<unsigned char>(*++p))) atom = back_reference_size;
        }
        if (*p == '\0') break;
    }
    for (const double before : groups)
        sum += before;
    return sum + atom;
}

regex_ptr compile_pattern(const char *pattern, int flags, std::string *error)
{
    auto compiled = std::make_unique<regex_t>();
    const bool is_too_big = expanded_size(pattern) > max_expanded_size;
    const int code = is_too_big ? REG_ESIZE : regcomp(compiled.get(), pattern, flags);
    if (code == 0) return regex_ptr(compiled.release());

    const size_t size = regerror(code, compiled.get(), nullptr, 0); /* counts the NUL */
    error->assign(size, '\0');
    regerror(code, compiled.get(), error->data(), size);
    error->resize(size - 1);
    return nullptr;
}
