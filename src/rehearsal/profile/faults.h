/* faults.h - what may go wrong with single commands, as the inventory asks for it.
 * A fault names the commands it meets by their first bytes, so that one request out of several of a kind can
 * be singled out: 12 is every INQUIRY, 120180 the unit serial number page, 1201800004 only the first, 4-byte
 * look at it. ata-EC is an ATA command, ata-B0D0 one with its feature, any is every command. lib-pd-info and
 * its like are requests to a controller's library. */
#pragma once

#include "rehearsal/profile/effects.h"

#include <optional>
#include <string_view>

namespace rehearsal
{

/* What a controller's library can be asked for. */
enum class library_request { init, exit, ctrl_info, pd_list, pd_info, start_locate, stop_locate, scsi, stp };

/* As the inventory and the log call it: "lib-pd-info". */
const char *name_of(library_request wanted);

struct fault {
    const effect *what = nullptr;
    std::optional<library_request> library; /* what it meets, instead of a command */
    bool is_ata = false;                    /* prefix is an ATA command and perhaps its feature */
    std::vector<uint8_t> prefix;            /* first bytes of the commands it meets; empty: all */
    uint64_t number = 0;                    /* the effect's operands */
    std::vector<uint8_t> bytes;
};

/* One fault from "COMMAND", "COMMAND:NUMBER", "COMMAND:BYTES" or "COMMAND:NUMBER:BYTES", as the effect needs
 * it. */
std::optional<fault> parse_fault(const effect &what, std::string_view text);

/* Whether it meets this command on its way to the drive. */
bool meets(const fault &f, const request &req);

} // namespace rehearsal
