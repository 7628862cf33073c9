/* command.h - one command to a drive, what came of it, and the way by which commands travel. */
#pragma once

#include "fw_download/console.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace fw_download
{

constexpr int command_seconds = 60;
constexpr int closing_seconds =
    5 * 60; /* for the last segment and the activation: the drive writes its flash then */

struct command {
    const char *name = "";
    std::array<uint8_t, 16> cdb = {};
    uint8_t cdb_len = 0;
    std::span<uint8_t> in = {}; /* room for what the drive answers; at most one of the two has a size */
    std::span<const uint8_t> out = {}; /* what it is sent */
    int timeout_s = command_seconds;
};

/* Who ended a command badly. */
enum class layer {
    none,      /* nobody: the drive carried it out */
    host,      /* this machine: the request was not accepted, or its adapter gave up */
    transport, /* the way to the drive */
    drive      /* the drive, by its status */
};

struct outcome {
    layer where = layer::none;
    int error = 0;         /* errno of a request that the kernel did not carry out, or gave up waiting for */
    uint8_t sense_key = 0; /* this and the next two as SPC has them; 0 without sense data */
    uint8_t asc = 0;
    uint8_t ascq = 0;
    bool is_current =
        true; /* false: the sense data tell of an earlier command, and this one was not carried out */
    bool is_abort = false;            /* an ATA drive's way of refusing a command: error register bit ABRT */
    bool is_threshold_passed = false; /* the answer of SMART RETURN STATUS in the registers */
    size_t received = 0;              /* bytes of command::in that were filled */
    unsigned duration_ms = 0;
    std::string text = {};       /* one line for the operator; of a success, what recovered */
    std::string sense_text = {}; /* all of the sense data, in lines, where details are wanted */

    [[nodiscard]] bool is_taken() const { return where == layer::none; }
};

/* True for a unit attention of power on, reset or changed microcode: it stood in front of the command, which
 * was not carried out and may be sent again. */
bool is_expected_attention(const outcome &o);

/* True when the drive does not know the command, or not in this form; one that judged the data bad does. */
bool is_refusal(const outcome &o);

/* True when the drive does not know the command at all. */
bool is_unknown_command(const outcome &o);

/* True when the kernel no longer has the drive. */
bool is_gone(const outcome &o);

/* "host", "transport" or "drive". */
const char *layer_name(layer where);

/* A boundary: the sg node, or what a test puts in its place. Times are those of a clock that never jumps. */
struct wire {
    outcome (*send)(void *handle, const command &c);
    int64_t (*now_ms)(void *handle);
    void (*pause)(void *handle, int ms);
};

struct drive {
    const wire *way;
    void *handle; /* borrowed; passed to the functions of `way` */
    console con;
};

/* Sends the command once and tells of it in the details. */
outcome execute(const drive &d, const command &c);

/* The same for a question: what unit attentions stand in front of it are passed over. */
outcome ask(const drive &d, const command &c);

} // namespace fw_download
