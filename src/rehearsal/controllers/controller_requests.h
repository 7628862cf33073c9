/* controller_requests.h - the management library of simulated controllers, one file of it: what it answers.
 */
#pragma once

#include "device/storelib/abi.h"
#include "rehearsal/machine/machine.h"
#include "rehearsal/profile/libraries.h"

namespace rehearsal
{

struct controller_library {
    const machine &m;
    std::string file;        /* below the root, as the inventory names it: it serves the controllers that name
                                this file */
    bool is_started = false; /* between the requests to start and to release it */
};

/* Answers one request: the data, cut to what the sender has room for, or the fault that the inventory asks
 * for. Logs it. Returns the library's status code. */
uint32_t answer_library_request(controller_library &library, _SL_LIB_CMD_PARAM_T &param);

} // namespace rehearsal
