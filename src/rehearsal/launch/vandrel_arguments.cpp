#include "rehearsal/launch/vandrel_arguments.h"

#include "core/options.h"

#include <filesystem>

namespace rehearsal
{

vandrel_arguments split_arguments(std::span<char *> args, const std::string &current_dir)
{
    namespace fs = std::filesystem;
    vandrel_arguments result;
    std::vector<size_t> maps; /* which of the kept arguments name a map file */
    optind = 0;               /* the parser has done another command line before */
    opterr = 0;
    const int count = static_cast<int>(args.size());
    for (int c = 0; (c = getopt_long(count, args.data(), short_options, options, nullptr)) != -1;) {
        if (c == '?') {
            /* Help, or an option that is wrong: the program ends with it, and says so itself. */
            result.kept.assign(args.begin() + 1, args.end());
            result.given_root.clear();
            return result;
        }
        if (c == 'R') {
            result.given_root = optarg;
            continue;
        }
        /* A target list has no short option. */
        result.kept.push_back(c == 'T' ? "--targets" : std::string{'-', static_cast<char>(c)});
        if (c == 'M') maps.push_back(result.kept.size());
        if (optarg) result.kept.emplace_back(optarg);
    }
    const fs::path base = fs::path(current_dir) / result.given_root;
    for (const size_t i : maps)
        result.kept[i] = (base / result.kept[i]).string();
    return result;
}

} // namespace rehearsal
