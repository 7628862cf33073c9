/* controller_passthrough.h - commands to drives wrapped in requests to a controller's library. */
#pragma once

#include "device/storelib/abi.h"
#include "rehearsal/machine/machine.h"

#include <span>

namespace rehearsal
{

/* Status codes of the controller's firmware, as kernel drivers declare them. */
constexpr uint32_t invalid_parameter = 0x03;
constexpr uint32_t drive_reported_error = 0x2D;
constexpr uint32_t drive_did_not_answer = 0x2E;

/* Unwrap the command in buffer, run it on the drive and wrap its answer; note says what was sent and what
 * came of it, for the log. With is_refused it is not run. Return the library's status code. */
uint32_t pass_scsi(const machine &m, const drive_profile &profile, std::span<uint8_t> buffer, bool is_refused,
                   std::string &note);
uint32_t pass_ata(const machine &m, const drive_profile &profile, std::span<uint8_t> buffer, bool is_refused,
                  std::string &note);

} // namespace rehearsal
