/* library.h - requests for one drive, through the library of the controller that it hangs off. */
#pragma once

#include "device/dev.h"
#include "device/storelib/abi.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace storelib
{

/* Sends a request through the drive's library, its address filled in. Returns the library's status. */
uint32_t call_library(const Dev *dev, _SL_LIB_CMD_PARAM_T *request);

/* What came of a pass-through request. */
struct reply {
    bool ok;                     /* the library carried it out */
    uint32_t status;             /* of the library; 0 when nothing was sent */
    std::vector<uint8_t> buffer; /* as the library left it, header first; empty: nothing was sent */
};

/* Sends the buffer, which begins with the header of pass-through command `cmd`. */
reply pass_through(const Dev *dev, uint8_t cmd, std::vector<uint8_t> buffer);

/* A buffer of the header and `size` bytes behind it, all 0. */
template <typename Header>
std::vector<uint8_t> buffer_of(const Header &header, size_t size)
{
    std::vector<uint8_t> buffer(sizeof header + size);
    memcpy(buffer.data(), &header, sizeof header);
    return buffer;
}

} // namespace storelib
