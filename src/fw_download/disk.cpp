#include "fw_download/disk.h"

#include "base/handles.h"
#include "base/text.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace fw_download
{

constexpr char scsi_devices[] = "/sys/class/scsi_device";
constexpr char scsi_hosts[] = "/sys/class/scsi_host";
static const std::string block_devices = "/sys/block";

std::string read_line(const std::string &path)
{
    const file_ptr f(fopen(path.c_str(), "re"));
    char line[path_size] = "";
    if (!f || !fgets(line, sizeof line, f.get())) return "";
    std::string s = line;
    stripblanks(s);
    return s;
}

std::vector<std::string> names_in(const std::string &path)
{
    std::vector<std::string> names;
    const dir_ptr dir(opendir(path.c_str()));
    if (!dir) return names;
    while (const dirent *entry = readdir(dir.get()))
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    std::sort(names.begin(), names.end());
    return names;
}

static std::string link_target(const std::string &path)
{
    char target[path_size];
    const ssize_t len = readlink(path.c_str(), target, sizeof target - 1);
    if (len <= 0) return "";
    target[len] = '\0';
    return last_component(target);
}

/* Both forms: a directory "block" that holds the name, and a link "block:NAME" of older kernels. */
static std::string block_name(const std::string &device)
{
    const auto below = names_in(device + "/block");
    if (!below.empty()) return below.front();
    const std::string prefix = "block:";
    for (const std::string &name : names_in(device))
        if (name.compare(0, prefix.size(), prefix) == 0) return name.substr(prefix.size());
    return "";
}

std::vector<disk> find_disks(unsigned host, unsigned target)
{
    std::vector<disk> found;
    for (const std::string &address : names_in(scsi_devices)) {
        unsigned h, c, t, l;
        int end = 0;
        if (sscanf(address.c_str(), "%u:%u:%u:%u%n", &h, &c, &t, &l, &end) != 4 || address[end] != '\0')
            continue;
        const std::string device = format_text(path_size, "%s/%s/device", scsi_devices, address.c_str());
        if (h != host || t != target || read_line(device + "/type") != "0") continue;
        const std::string generic = link_target(device + "/generic");
        found.push_back({.address = address,
                         .node = generic.empty() ? "" : "/dev/" + generic,
                         .block = block_name(device)});
    }
    return found;
}

static uint64_t read_number(const std::string &path)
{
    return strtoull(read_line(path).c_str(), nullptr, 10);
}

/* libata goes by the length of the buffer. */
static bool is_libata(const disk &d)
{
    const std::string host = d.address.substr(0, d.address.find(':'));
    const std::string driver =
        read_line(format_text(path_size, "%s/host%s/proc_name", scsi_hosts, host.c_str()));
    for (const char *prefix : {"ahci", "ata_", "sata_", "pata_"})
        if (driver.starts_with(prefix)) return true;
    return false;
}

node_limits read_limits(const disk &d)
{
    if (d.block.empty()) return {.has_own_translator = !is_libata(d)};
    const std::string queue = block_devices + "/" + d.block + "/queue/";
    const uint64_t most = std::min<uint64_t>(read_number(queue + "max_hw_sectors_kb") * 1024, UINT_MAX);
    const uint64_t pages = read_number(queue + "max_segments");
    const uint64_t scattered = pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    node_limits limits = {.sure = static_cast<uint32_t>(most),
                          .most = static_cast<uint32_t>(most),
                          .has_own_translator = !is_libata(d)};
    if (scattered != 0 && (most == 0 || scattered < most)) limits.sure = static_cast<uint32_t>(scattered);
    return limits;
}

} // namespace fw_download
