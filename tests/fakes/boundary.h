/* boundary.h - the two boundaries behind which drives lie, for tests: the SG_IO request and the controller
 * library. A test says who answers there. ioctl is defined in the test program, whose definitions come before
 * the C library's. */
#pragma once

#undef NDEBUG /* broken promises must be told */
#include "device/dev.h"
#include "device/storelib/abi.h"

#include <cassert>
#include <functional>
#include <scsi/sg.h>

/* Answers a request to the sg node of a fake_dev: 0, or the errno of a request that fails. The request has
 * the fixed fields that the driver wants, and all the room that it offers. */
extern std::function<int(sg_io_hdr *)> answer_sg_io;

/* Answers a request to the controller library: its status. Called through library_entry. */
extern std::function<uint32_t(_SL_LIB_CMD_PARAM_T *)> answer_library;
uint32_t library_entry(_SL_LIB_CMD_PARAM_T *request);

/* A record of a drive that either boundary leads to. */
Dev fake_dev(char interface);
