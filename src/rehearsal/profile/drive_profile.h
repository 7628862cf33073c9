/* drive_profile.h - one simulated drive as the inventory describes it. What changes while the machine runs is
 * in drive_state.h. */
#pragma once

#include "rehearsal/profile/faults.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rehearsal
{

struct drive_profile {
    /* The fields of a listing's line. */
    std::string adapter;
    unsigned host = 0;
    unsigned slot = 0;
    std::string vendor;
    std::string model;
    std::string rev;
    std::string new_rev;
    std::string image;

    /* Given by the line's place: number of its generic node, how many earlier lines have its host and slot,
     * the name of its state, which is an earlier line's where both describe one drive. */
    unsigned index = 0;
    unsigned lun = 0;
    std::string state_name;

    /* What a listing does not hold. */
    std::string serial;
    uint64_t blocks = 3907029168;
    uint64_t block_length = 512;
    uint64_t device_type = 0; /* SCSI peripheral device type; 0 is a disk */
    bool read_cache_disabled = false;
    bool serial_page_revision = false; /* the unit serial number page tells the revision at bytes 32 to 35 */
    uint64_t attention = 0;            /* unit attention that waits to be told: code and qualifier; 0: none */
    uint64_t command_ms = 0;           /* how long a command takes, really waited for */
    std::vector<std::pair<uint8_t, uint64_t>> smart; /* attribute and raw value, over the usual ones */

    bool predicts_failure = false; /* S.M.A.R.T. thresholds are passed */

    /* How it takes firmware. */
    std::vector<uint8_t> fw_modes;  /* of WRITE BUFFER or DOWNLOAD MICROCODE; empty: the usual ones */
    uint64_t fw_boundary = 9;       /* offsets are multiples of 2 to this power */
    uint64_t fw_capacity = 4 << 20; /* bytes of an image */
    uint64_t fw_min_blocks = 0;     /* of a segment, in IDENTIFY words 234 and 235; 0: no limit */
    uint64_t fw_max_blocks = 0;
    bool fw_dma = false;        /* DOWNLOAD MICROCODE DMA as well */
    double fw_busy_seconds = 0; /* not ready after it took an image */
    uint64_t fw_reset = 0;      /* segment in front of which the drive was reset; 0: none */
    uint64_t fw_attention = 0;  /* segment in front of which a unit attention stands; 0: none */

    /* How the kernel presents it. */
    bool is_in_use = false;  /* its block device is held exclusively */
    std::string host_driver; /* empty: as the other drives of the host say */
    std::vector<std::string> no_attribute;
    bool no_block = false;
    bool old_block_link = false; /* a link block:NAME as old kernels had instead of the directory */
    bool no_generic = false;
    bool no_node = false;

    /* How a controller presents it. */
    unsigned controller = 0; /* the controller's number, the same as in adapter */
    unsigned device_id = 10; /* its own number of the drive; they count from here in the order of the lines */
    std::optional<uint64_t> interface; /* type that the controller reports; unset: by the vendor */
    std::optional<uint64_t> fis_length;
    std::string library; /* file below the root that serves the controller */
    bool no_entry_point = false;
    std::optional<uint32_t> pci; /* the controller's PCI identity, vendor in the high half */

    /* What goes wrong. */
    std::vector<fault> faults;
    uint64_t faults_after = 0;          /* commands that are answered well before the faults begin */
    std::optional<uint64_t> gone_after; /* commands after which the drive has disappeared */

    /* What the flashing tool does. */
    std::string flash_revision; /* what it runs afterwards; empty: what the image says */
    std::optional<uint64_t>
        flash_fails; /* so many first attempts fail; unset: all, if a way to fail is given */
    uint64_t flash_exit = 0;
    uint64_t flash_signal = 0;
    bool wants_stand_in = false;          /* also without the words that only a stand-in obeys */
    bool flash_works_anyway = false;      /* one that fails changes the revision all the same */
    bool flash_needs_power_cycle = false; /* what it takes runs only after one */
    double flash_seconds = 0;
    uint64_t flash_noise = 0; /* bytes of output */

    bool is_ata() const { return vendor.starts_with("ATA"); }

    /* A controller's drive has the controller's number where others have the name of their block device. */
    bool is_behind_controller() const { return adapter.find_first_not_of("0123456789") == std::string::npos; }

    /* "sda,0,3", as the listing begins and as a target list names it. */
    std::string label() const;

    /* "0:0:3:0", host, channel, target and logical unit as the kernel writes them. */
    std::string address() const;
};

} // namespace rehearsal
