/* scripted.h - a drive, behind SG_IO or behind a controller library, that must receive exactly what a test
 * expects, in that order: a missing, different or further command fails the test. One at a time. */
#pragma once

#include "boundary.h"

#include <deque>
#include <string>

/* How a command ends: all 0 for success. */
struct outcome {
    unsigned char masked_status;
    unsigned short driver_status;
    unsigned short host_status;
    int error; /* errno of the request itself, or the library's status */
    std::string sense;
};
extern const outcome refused; /* CHECK CONDITION, illegal request, fixed format */

struct fake_drive {
    explicit fake_drive(char interface = 0);
    ~fake_drive();
    fake_drive(const fake_drive &) = delete;

    /* command: "none", "in" or "out", command block, [data length], data sent; or of a request to the library
     * its block without the pointer, a colon, the data buffer, into which the reply goes from `at` on. The
     * reply may be shorter or longer than the room for it. */
    void expect(const std::string &command, const std::string &reply = "", const outcome &end = {},
                size_t at = 0);

    struct exchange {
        std::string command, reply;
        outcome end;
        size_t at;
    };
    exchange receive(const std::string &command);

    Dev dev;
    std::deque<exchange> expected;
};
