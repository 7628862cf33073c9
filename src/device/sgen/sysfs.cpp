#include "device/sgen/sysfs.h"

#include "base/handles.h"
#include "base/trace.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include <strings.h>
#include <unistd.h>

namespace sgen
{

static const char *const ignored_drivers[] = {"usb-storage", "megaraid_sas"};

text get_first_line_from_file(const char *pathname)
{
    const file_ptr f(fopen(pathname, "re"));
    char line[line_size];
    if (!f || !fgets(line, sizeof line, f.get())) return {};
    return stripcr(line);
}

unsigned get_uint_from_file(const char *pathname)
{
    const file_ptr f(fopen(pathname, "re"));
    unsigned number = 0;
    if (!f || fscanf(f.get(), "%u", &number) != 1) return 0; // NOLINT(cert-err34-c): the kernel's own numbers
    return number;
}

text link_target_name(const std::string &path)
{
    char target[path_size];
    const ssize_t len = readlink(path.c_str(), target, sizeof target - 1);
    if (len == -1) return {};
    target[len] = '\0';
    return last_component(target);
}

std::string device_dir(const std::string &hcil)
{
    return format_text(path_size, "%s/%s/device", scsi_device_root, hcil.c_str());
}

std::string device_attribute(const std::string &hcil, const char *attribute)
{
    return device_dir(hcil) + "/" + attribute;
}

bool ignore_host(uint32_t host)
{
    const std::string path = format_text(path_size, "%s/host%u/proc_name", scsi_host_root, host);
    const text driver = get_first_line_from_file(path.c_str());
    if (!driver) return false;
    for (const char *name : ignored_drivers)
        if (strncasecmp(driver->c_str(), name, strlen(name)) == 0) return true;
    return false;
}

/* "block" or "block:NAME": how kernels have named the link to the block device. */
static bool is_block_entry(const char *name)
{
    constexpr size_t len = sizeof "block" - 1;
    return strncmp(name, "block", len) == 0 && (name[len] == '\0' || name[len] == ':');
}

/* Older kernels: the device directory holds a link to its block device. */
static text find_block_link(const std::string &hcil)
{
    const dir_ptr dir(opendir(device_dir(hcil).c_str()));
    if (!dir) return {};
    while (const dirent *entry = readdir(dir.get()))
        if (is_block_entry(entry->d_name)) return link_target_name(device_attribute(hcil, entry->d_name));
    return {};
}

/* Newer kernels: a directory `block` holds the block devices, each with a link back to its SCSI device. */
static text find_block_below(const std::string &hcil)
{
    const dir_ptr dir(opendir(device_attribute(hcil, "block").c_str()));
    if (!dir) return {};
    text last_read;
    while (const dirent *entry = readdir(dir.get())) {
        const std::string back_link = format_text(path_size, "block/%s/device", entry->d_name);
        const text owner = link_target_name(device_attribute(hcil, back_link.c_str()));
        if (!owner) continue;
        if (*owner == hcil) return entry->d_name;
        last_read = owner;
    }
    return last_read;
}

std::string find_block(const std::string &hcil)
{
    text block = find_block_link(hcil);
    if (!block) block = find_block_below(hcil);
    if (block) return *block;
    say("Cannot determine block name of %s\n", hcil.c_str());
    return "sdX";
}

} // namespace sgen
