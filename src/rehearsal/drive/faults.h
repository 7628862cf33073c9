/* faults.h - what may go wrong with single commands, as the inventory asks for it.
 * A fault names the commands it meets by their first bytes, so that one request out of several of a kind can
 * be singled out: 12 is every INQUIRY, 120180 the unit serial number page, 1201800004 only the first, 4-byte
 * look at it. ata-EC is an ATA command, ata-B0D0 one with its feature, any is every command. lib-pd-info and
 * its like are requests to a controller's library. */
#pragma once

#include "rehearsal/drive/command.h"

#include <optional>
#include <string_view>

namespace rehearsal
{

enum class effect {
    refuse,        /* CHECK CONDITION: ILLEGAL REQUEST, of an ATA command ABORTED COMMAND */
    sense,         /* CHECK CONDITION with the given sense bytes; the data still comes when their key is 1 */
    status,        /* ends with this SCSI status byte */
    host_status,   /* good, but the host adapter reports this */
    driver_status, /* good, but the kernel's driver reports this */
    hang,          /* no answer up to the time-out, without really waiting */
    enodev,        /* the request itself fails: no such device */
    cut,           /* only so many bytes of the answer are moved */
    answer,        /* these bytes are the answer */
    patch,         /* these bytes replace the answer's from an offset on */
};

/* What a controller's library can be asked for. */
enum class library_request { init, exit, ctrl_info, pd_list, pd_info, start_locate, stop_locate, scsi, stp };

/* As the inventory and the log call it: "lib-pd-info". */
const char *name_of(library_request wanted);

struct fault {
    effect kind = effect::refuse;
    std::optional<library_request> library; /* what it meets, instead of a command */
    bool is_ata = false;                    /* prefix is an ATA command and perhaps its feature */
    std::vector<uint8_t> prefix;            /* first bytes of the commands it meets; empty: all */
    uint64_t number = 0;                    /* status, length or offset */
    std::vector<uint8_t> bytes;             /* sense data, answer or patch */
};

/* One fault from "COMMAND", "COMMAND:NUMBER", "COMMAND:BYTES" or "COMMAND:NUMBER:BYTES", as the effect needs
 * it. */
std::optional<fault> parse_fault(effect kind, std::string_view text);

/* Puts a patch into data. Returns false, data unchanged, when it reaches beyond the end. */
bool apply_patch(const fault &f, std::vector<uint8_t> &data);

/* Whether it meets this command on its way to the drive. */
bool meets(const fault &f, const request &req);

} // namespace rehearsal
