#include "fw_download/claim.h"

#include "base/text.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <sstream>

namespace fw_download
{

static const std::string block_devices = "/sys/block";

/* A disk or a partition of it. */
struct part {
    std::string name;   /* sdb1 */
    std::string number; /* 8:17 */
    std::string path;   /* in sysfs */
};

unique_fd claim_disk(const std::string &block)
{
    /* For reading is enough, and the end of a write access would make the system look at the disk anew. */
    return unique_fd(open(("/dev/" + block).c_str(), O_RDONLY | O_EXCL | O_NONBLOCK | O_CLOEXEC));
}

static std::vector<part> parts_of(const std::string &block)
{
    const std::string root = block_devices + "/" + block;
    std::vector<part> parts = {
        {block, read_line(root + "/dev"), root}
    };
    for (const std::string &name : names_in(root)) {
        const std::string path = format_text(path_size, "%s/%s", root.c_str(), name.c_str());
        if (!read_line(path + "/partition").empty()) parts.push_back({name, read_line(path + "/dev"), path});
    }
    return parts;
}

static std::string describe_holder(const std::string &holder)
{
    const std::string dm = block_devices + "/" + holder + "/dm/";
    const std::string name = read_line(dm + "name");
    if (!name.empty())
        return (read_line(dm + "uuid").compare(0, 4, "LVM-") == 0 ? "LVM volume " : "device-mapper set ") +
               name;
    return (holder.compare(0, 2, "md") == 0 ? "md set " : "") + holder;
}

/* mountinfo writes blanks, line ends and backslashes in names as three octal digits. */
static std::string unescape(const std::string &s)
{
    std::string result;
    for (size_t i = 0; i < s.size(); ++i) {
        const bool is_escape = s[i] == '\\' && i + 3 < s.size();
        result += is_escape ? static_cast<char>(strtol(s.substr(i + 1, 3).c_str(), nullptr, 8)) : s[i];
        if (is_escape) i += 3;
    }
    return result;
}

/* Fields of /proc/self/mountinfo: 3 device number, 5 mount point, and behind "-" file system and source. The
 * number is no disk's for file systems that span several. */
static std::string mount_point_on(const part &p)
{
    std::ifstream table("/proc/self/mountinfo");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string skipped, number, point, source;
        fields >> skipped >> skipped >> number >> skipped >> point;
        while (fields >> skipped && skipped != "-") {
        }
        fields >> skipped >> source;
        if (number == p.number || source == "/dev/" + p.name) return unescape(point);
    }
    return "";
}

static bool is_swap(const part &p)
{
    std::ifstream table("/proc/swaps");
    for (std::string line; std::getline(table, line);)
        if (line.compare(0, line.find_first_of(" \t"), "/dev/" + p.name) == 0) return true;
    return false;
}

std::vector<std::string> find_users(const std::string &block)
{
    std::vector<std::string> users;
    for (const part &p : parts_of(block)) {
        const std::string mount = mount_point_on(p);
        if (!mount.empty()) users.push_back(p.name + " is mounted on " + mount);
        if (is_swap(p)) users.push_back(p.name + " is swap space");
        for (const std::string &holder : names_in(p.path + "/holders"))
            users.push_back(p.name + " is part of " + describe_holder(holder));
    }
    return users;
}

} // namespace fw_download
