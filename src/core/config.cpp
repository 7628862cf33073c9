#include "core/config.h"

#include "base/files.h"
#include "base/pattern.h"

#include <cctype>
#include <cstdio>
#include <iterator>

constexpr char line_pattern[] = "^[[:blank:]]*([[:alpha:]][[:alnum:]]*)[[:blank:]]*=[[:blank:]]*(.*)";

enum match_record { whole_match, name_match, value_match, num_matches };

std::string extract(const char *s, const regmatch_t &rm)
{
    return {s + rm.rm_so, s + rm.rm_eo};
}

/* The pair on one line, if there is one. The match starts behind leading blanks while its offsets are applied
 * to the whole line, so an indented entry comes out shifted and sets no key. That is kept: an indented entry
 * is off. */
static std::optional<config_pair> parse_line(const std::string &line, const regex_t *pattern)
{
    size_t start = 0;
    while (isblank(static_cast<unsigned char>(line[start])))
        ++start;
    if (line[start] == '#') return {};

    regmatch_t matches[num_matches];
    if (regexec(pattern, line.c_str() + start, std::size(matches), matches, 0) != 0) return {};
    return config_pair{.name = extract(line.c_str(), matches[name_match]),
                       .value = extract(line.c_str(), matches[value_match])};
}

std::optional<config_pairs> load_config_file(const text &reldir, const char *filename)
{
    const std::string path = data_path(reldir, filename);
    const file_ptr f = open_data_file(path.c_str());
    if (!f) return {};

    std::string error;
    const regex_ptr pattern = compile_pattern(line_pattern, REG_EXTENDED, &error);
    if (!pattern) {
        fprintf(stderr, "load_config_file: Error in pattern: %s\n", error.c_str());
        return {};
    }

    config_pairs pairs;
    char buffer[line_size];
    while (fgets(buffer, sizeof buffer, f.get())) {
        std::string line = buffer;
        strip_trailing_space(line);
        if (std::optional<config_pair> pair = parse_line(line, pattern.get()))
            pairs.push_back(std::move(*pair));
    }
    return pairs;
}

const char *lookup_config(const std::optional<config_pairs> &config, const char *name)
{
    if (!config) return nullptr;
    for (const config_pair &pair : *config)
        if (pair.name == name) return pair.value.c_str();
    return nullptr;
}
