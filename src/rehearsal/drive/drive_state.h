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
    uint16_t
        attention;   /* unit attention that waits to be told: additional sense code and qualifier; 0: none */
    uint8_t caching; /* flags of the caching mode page: bit 0 disables the read cache, bit 2 enables the write
                        cache */
    uint64_t flash_attempts; /* runs of a flashing tool on it */
    uint64_t
        commands; /* commands sent to it; counted only where the inventory makes something depend on it */

    bool operator==(const drive_state &) const = default;
};

/* The state on disk; where nothing was ever written, what the inventory says. */
drive_state read_state(const machine &m, const drive_profile &profile);

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
