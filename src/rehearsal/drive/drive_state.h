/* drive_state.h - what changes of a drive while its machine runs; kept on disk from run to run. */
#pragma once

#include "rehearsal/machine/machine.h"

#include <cstdint>
#include <string>

namespace rehearsal
{

struct drive_state {
    std::string revision; /* the firmware that it runs */
    std::string pending;  /* the one that it has taken and will run after a power cycle; empty: none */
    /* Unit attention that waits to be told: additional sense code and qualifier; 0: none. */
    uint16_t attention;
    /* Flags of the caching mode page: bit 0 disables the read cache, bit 2 enables the write cache. */
    uint8_t caching;
    uint64_t flash_attempts; /* runs of a flashing tool on it */
    /* Commands sent to it; counted only where the inventory makes something depend on it. */
    uint64_t commands;

    /* A download of firmware (firmware.h). */
    std::string image_path; /* where what it receives is kept; not on disk */
    unsigned download = 0;  /* the way of the one under way */
    uint64_t received = 0;  /* bytes of it */
    uint64_t segments = 0;
    std::string deferred; /* taken, to be activated by a command or a power cycle */
    std::string announced_revision;
    uint64_t announced_size = 0;
    uint64_t busy_until_ms = 0; /* of the machine's uptime; `pending` is active then. 0: not busy */

    bool operator==(const drive_state &) const = default;
};

/* The state on disk; where nothing was ever written, what the inventory says. */
drive_state read_state(const machine &m, const drive_profile &profile);

constexpr uint16_t power_on_or_reset = 0x2900;
constexpr uint16_t microcode_has_been_changed = 0x3F01;

/* The drive takes new firmware: runs it from now on and has a unit attention to tell, or keeps it for the
 * next power cycle. */
void take_firmware(const drive_profile &profile, drive_state &state, const std::string &revision);

/* The drive was without power: it runs what it has taken, and knows nothing of what was not saved. */
void power_cycle(const drive_profile &profile, drive_state &state);

/* Returns false with errno set. */
bool write_state(const machine &m, const drive_profile &profile, const drive_state &state);

/* The drive has left the machine for good. */
bool is_gone(const drive_profile &profile, const drive_state &state);

} // namespace rehearsal
