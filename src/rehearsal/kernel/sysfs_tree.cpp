#include "rehearsal/kernel/sysfs_tree.h"

#include "rehearsal/drive/drive_state.h"
#include "rehearsal/drive/scsi_commands.h"
#include "rehearsal/text/files.h"
#include "rehearsal/text/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>

namespace fs = std::filesystem;

namespace rehearsal
{

constexpr char usual_host_driver[] = "mpt3sas";
constexpr char no_driver[] = "none";

namespace
{
/* Builds files and links and keeps the first thing that failed. */
class tree_builder
{
  public:
    void add_file(const std::string &path, std::string_view text)
    {
        add_dir(fs::path(path).parent_path());
        if (!write_file(path, text)) fail(path, strerror(errno));
    }
    void add_link(const std::string &path, const std::string &target)
    {
        add_dir(fs::path(path).parent_path());
        std::error_code error;
        fs::create_symlink(target, path, error);
        if (error) fail(path, error.message());
    }
    void add_dir(const std::string &path)
    {
        std::error_code error;
        fs::create_directories(path, error);
        if (error) fail(path, error.message());
    }
    void remove(const std::string &path)
    {
        std::error_code error;
        fs::remove_all(path, error);
        if (error) fail(path, error.message());
    }
    const std::string &error() const { return error_; }

  private:
    void fail(const std::string &path, const std::string &why)
    {
        if (error_.empty()) error_ = path + ": " + why;
    }

    std::string error_;
};
} // namespace

/* The kernel shows the field of the INQUIRY data: blanks behind the text, and no more than fits. */
static std::string attribute_text(std::string text, size_t width)
{
    text.resize(width, ' ');
    return text + "\n";
}

static void add_attributes(tree_builder &tree, const drive_profile &profile, const drive_state &state,
                           const std::string &device)
{
    const std::string type = std::to_string(profile.device_type) + "\n";
    const std::string vendor = attribute_text(profile.vendor, 8);
    const std::string model = attribute_text(profile.model, 16);
    const std::string rev = attribute_text(inquiry_revision(profile, state), 4);
    const std::pair<const char *, const std::string &> attributes[] = {
        {"type",   type  },
        {"vendor", vendor},
        {"model",  model },
        {"rev",    rev   },
    };
    const auto &left_out = profile.no_attribute;
    for (const auto &[name, text] : attributes)
        if (std::find(left_out.begin(), left_out.end(), name) == left_out.end())
            tree.add_file(device + "/" + name, text);
}

/* Number 8:N of a disk; the first 16 have one of this form. */
static std::string device_number(const drive_profile &profile)
{
    constexpr unsigned minors_of_a_disk = 16;
    return format_text("8:%u", profile.index * minors_of_a_disk);
}

/* The disk as the block layer has it, with what it carries in one command. */
static void add_disk(tree_builder &tree, const machine &m, const drive_profile &profile)
{
    const std::string block = m.sys_dir() + "/block/" + profile.adapter;
    tree.add_file(block + "/dev", device_number(profile) + "\n");
    tree.add_file(block + "/queue/max_hw_sectors_kb", "32767\n");
    tree.add_file(block + "/queue/max_segments", "168\n");
    tree.add_dir(block + "/holders");
    tree.add_file(m.dev_dir() + "/" + profile.adapter, "");
}

/* /proc/self/mountinfo, of the disks that are in use. */
static std::string mounts_of(const machine &m)
{
    std::string lines;
    for (const drive_profile &profile : m.drives)
        if (profile.is_in_use)
            lines +=
                format_text("%u 1 %s / /srv/%s rw - ext4 /dev/%s rw\n", 100 + profile.index,
                            device_number(profile).c_str(), profile.adapter.c_str(), profile.adapter.c_str());
    return lines;
}

static void add_drive(tree_builder &tree, const machine &m, const drive_profile &profile)
{
    const std::string address = profile.address();
    const std::string node = "sg" + std::to_string(profile.index);
    const std::string up = "../../../" + address; /* from a subdirectory's entry back to the device */
    const std::string place = format_text("devices/host%u/target%u:0:%u/%s", profile.host, profile.host,
                                          profile.slot, address.c_str());
    const std::string device = m.sys_dir() + "/" + place;
    tree.add_dir(device);
    add_attributes(tree, profile, read_state(m, profile), device);
    tree.add_link(device + "/scsi_device/" + address + "/device", up);
    tree.add_link(device + "/scsi_generic/" + node + "/device", up);
    if (!profile.no_generic) tree.add_link(device + "/generic", "scsi_generic/" + node);
    if (profile.old_block_link)
        tree.add_link(device + "/block:" + profile.adapter, "../../../../block/" + profile.adapter);
    else if (!profile.no_block)
        tree.add_link(device + "/block/" + profile.adapter + "/device", up);
    if (!profile.no_block && !profile.is_behind_controller()) add_disk(tree, m, profile);
    tree.add_link(m.sys_dir() + "/class/scsi_device/" + address,
                  "../../" + place + "/scsi_device/" + address);
    tree.add_link(m.sys_dir() + "/class/scsi_generic/" + node, "../../" + place + "/scsi_generic/" + node);
    if (!profile.no_node) tree.add_file(m.dev_dir() + "/" + node, "");
}

/* One drive that names its host's driver speaks for all drives of the host. */
static std::map<unsigned, std::string> host_drivers(const machine &m)
{
    std::map<unsigned, std::string> drivers;
    for (const drive_profile &profile : m.drives) {
        if (profile.is_behind_controller()) continue;
        std::string &driver = drivers[profile.host];
        if (!profile.host_driver.empty()) driver = profile.host_driver;
        if (driver.empty()) driver = usual_host_driver;
    }
    return drivers;
}

std::string build_sysfs(const machine &m, bool is_without_scsi)
{
    tree_builder tree;
    tree.remove(m.sys_dir());
    tree.remove(m.dev_dir());
    tree.add_dir(m.dev_dir());
    tree.add_dir(m.sys_dir() + "/class");
    tree.add_file(m.dir + "/proc/self/mountinfo", mounts_of(m));
    if (is_without_scsi) return tree.error();
    for (const char *name : {"scsi_device", "scsi_generic", "scsi_host"})
        tree.add_dir(m.sys_dir() + "/class/" + name);
    for (const auto &[host, driver] : host_drivers(m)) {
        const std::string dir = m.sys_dir() + "/class/scsi_host/host" + std::to_string(host);
        tree.add_dir(dir);
        if (driver != no_driver) tree.add_file(dir + "/proc_name", driver + "\n");
    }
    for (const drive_profile &profile : m.drives)
        if (!profile.is_behind_controller()) add_drive(tree, m, profile);
    return tree.error();
}

} // namespace rehearsal
