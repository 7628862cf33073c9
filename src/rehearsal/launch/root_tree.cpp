#include "rehearsal/launch/root_tree.h"

#include "rehearsal/text/files.h"
#include "rehearsal/tools/flash_tools.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace rehearsal
{

constexpr std::string_view map_mark =
    "# Made by vandrel-rehearse from its inventory; change this line to keep your own.\n";

/* What the program writes below /Data. */
constexpr std::string_view written_files[] = {"Vandrel.log", "Vandrel.log~", "Vandrel.stderr"};

static std::string failure(const fs::path &path, const std::string &why)
{
    return path.string() + ": " + why;
}

static std::string replace_link(const fs::path &target, const fs::path &link)
{
    std::error_code error;
    fs::remove_all(link, error);
    fs::create_symlink(target, link, error);
    return error ? failure(link, error.message()) : "";
}

static bool is_written_by_program(const fs::path &path)
{
    return std::find(std::begin(written_files), std::end(written_files), path.filename().string()) !=
           std::end(written_files);
}

/* The entries of a directory; none when it cannot be read. */
static std::vector<fs::path> entries_of(const fs::path &dir)
{
    std::vector<fs::path> paths;
    std::error_code error;
    for (fs::directory_iterator i(dir, error), end; !error && i != end; i.increment(error))
        paths.push_back(i->path());
    return paths;
}

/* Takes away what an earlier rehearsal in the same directory linked to, and for a given tree also what was
 * made up: nothing may be written through a link, and no made-up file may hide that the tree lacks it. */
static void clear_data(const fs::path &root, bool has_given_tree)
{
    std::error_code ignored; /* what cannot be removed shows when it is to be replaced */
    for (const fs::path &dir : {root, root / "Data"})
        for (const fs::path &path : entries_of(dir)) {
            const bool is_made_up = has_given_tree && dir != root && !is_written_by_program(path);
            if (fs::is_symlink(path, ignored) || is_made_up) fs::remove_all(path, ignored);
        }
    if (has_given_tree) fs::remove(root / "VERSION", ignored);
}

static std::string link_given_tree(const fs::path &given, const fs::path &root)
{
    std::error_code ignored;
    std::vector<std::pair<fs::path, fs::path>> links; /* target, link */
    for (const fs::path &path : entries_of(given))
        if (fs::is_regular_file(path, ignored)) links.emplace_back(path, root / path.filename());
    for (const fs::path &path : entries_of(given / "Data"))
        if (!is_written_by_program(path)) links.emplace_back(path, root / "Data" / path.filename());
    if (fs::is_directory(given / "lib/kbd", ignored)) links.emplace_back(given / "lib/kbd", root / "lib/kbd");
    for (const auto &[target, link] : links) {
        fs::create_directory(link.parent_path(), ignored);
        if (std::string failed = replace_link(target, link); !failed.empty()) return failed;
    }
    return {};
}

/* A regular expression of the map that matches this text only. In the map a doubled backslash stands for one.
 */
static std::string exact_pattern(std::string_view text, char quote)
{
    std::string pattern = "^";
    for (const char c : text) {
        if (c == quote)
            pattern += '.'; /* a quote would end the field */
        else if (c == '\\')
            pattern += "\\\\\\\\";
        else if (strchr(".[]()*+?{}|^$", c) != nullptr && c != '\0')
            pattern += std::string("\\\\") + c;
        else
            pattern += c;
    }
    return pattern + "$";
}

/* The image of a drive's line, below Data. Every new revision has a directory of its own, because one name
 * may stand for different images there. Empty when the line names none that could be a file. */
static std::string image_path(const drive_profile &profile)
{
    std::string dir = "to-" + profile.new_rev;
    std::replace(dir.begin(), dir.end(), '/', '_');
    const std::string name = profile.image.substr(profile.image.rfind('/') + 1);
    const bool has_update = profile.new_rev != "-" && profile.image != "-";
    return has_update && !name.empty() && name != "." && name != ".." ? dir + "/" + name : "";
}

static bool has(const std::string &text, char c)
{
    return text.find(c) != std::string::npos;
}

/* Several segments, of a size that an ATA drive can take. */
static std::string made_up_image(const std::string &revision)
{
    constexpr size_t size = size_t{128} * 1024;
    std::string image = "revision=" + revision + "\nsize=" + std::to_string(size) + "\n";
    image.resize(size, '.');
    return image;
}

static std::string make_up_images(const machine &m, const fs::path &data)
{
    for (const drive_profile &profile : m.drives) {
        const std::string name = image_path(profile);
        const fs::path path = data / name;
        std::error_code error;
        if (name.empty() || fs::exists(path, error)) continue;
        fs::create_directories(path.parent_path(), error);
        if (!write_file(path, made_up_image(profile.new_rev))) return failure(path, strerror(errno));
    }
    return {};
}

static std::string make_up_tree(const machine &m, const fs::path &root)
{
    const fs::path map = root / "Data/Map.txt";
    std::string old;
    if (!read_file(map, old) || old.starts_with(map_mark))
        if (!write_file(map, generate_map(m))) return failure(map, strerror(errno));
    static constexpr std::pair<const char *, std::string_view> others[] = {
        {"VERSION",         "rehearsal\n"   },
        {"Data/ULL",        "# no drives\n" },
        {"Data/SMART187",   "# no drives\n" },
        {"Data/vendor.csv", "# no vendors\n"},
    };
    for (const auto &[name, text] : others) {
        std::error_code error;
        if (!fs::exists(root / name, error) && !write_file(root / name, text))
            return failure(root / name, strerror(errno));
    }
    return make_up_images(m, root / "Data");
}

static bool is_without(const root_request &request, std::string_view name)
{
    return std::find(request.without.begin(), request.without.end(), name) != request.without.end();
}

/* Every library is a file of its own, not a link: to the loader two links would be one library. */
static std::string place_libraries(const machine &m, const root_request &request)
{
    const fs::path root = m.root_dir();
    std::error_code error;
    for (const char *dir : {"lib64", "usr/lib64", "usr/local/lib64"})
        fs::remove_all(root / dir, error);
    if (is_without(request, no_libraries)) return {};
    std::map<std::string, bool> lacks_entry_point; /* by file */
    for (const drive_profile &profile : m.drives)
        if (profile.is_behind_controller()) lacks_entry_point[profile.library] |= profile.no_entry_point;
    for (const auto &[file, is_lacking] : lacks_entry_point) {
        fs::create_directories((root / file).parent_path(), error);
        fs::copy_file(is_lacking ? request.preload : request.storelib, root / file, error);
        if (error) return failure(root / file, error.message());
    }
    return {};
}

std::string generate_map(const machine &m)
{
    std::string map(map_mark);
    std::set<std::string> lines;
    for (const drive_profile &profile : m.drives) {
        const std::string image = image_path(profile);
        const char quote = has(profile.new_rev + image, '"') ? '\'' : '"';
        if (image.empty() || has(profile.new_rev + image, quote)) continue;
        std::string line(1, quote);
        for (const std::string &field :
             {exact_pattern(profile.model, quote), exact_pattern(profile.rev, quote), profile.new_rev, image})
            line.append(field).push_back(quote);
        line.push_back('\n');
        if (lines.insert(line).second) map += line;
    }
    return map;
}

std::string prepare_root(const machine &m, const root_request &request)
{
    const fs::path root = m.root_dir();
    for (const char *dir : {"", "Data", "sbin", "tmp"}) {
        std::error_code error;
        fs::create_directory(root / dir, error);
        if (error) return failure(root / dir, error.message());
    }
    clear_data(root, !request.given.empty());
    for (const tool &t : stand_in_tools()) {
        std::error_code ignored;
        fs::remove(root / "sbin" / t.name, ignored);
        if (is_without(request, t.name)) continue;
        if (std::string failed = replace_link(request.stand_in, root / "sbin" / t.name); !failed.empty())
            return failed;
    }
    if (!request.shipped_tool.empty())
        if (std::string failed = replace_link(request.shipped_tool, root / shipped_tool_path);
            !failed.empty())
            return failed;
    if (std::string failed = place_libraries(m, request); !failed.empty()) return failed;
    return request.given.empty() ? make_up_tree(m, root) : link_given_tree(request.given, root);
}

} // namespace rehearsal
