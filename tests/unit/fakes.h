/* fakes.h - what stands in for the kernel: a drive behind SG_IO, and fork, pauses and time as a test wants
 * them. They are defined in the test program, whose definitions come before the C library's. */
#pragma once

#include "device/dev.h"

#include <ctime>
#include <deque>
#include <string>
#include <vector>

#include <scsi/sg.h>

/* How a command ends: all 0 for success. */
struct sg_outcome {
    unsigned char masked_status;
    unsigned short driver_status;
    unsigned short host_status;
    int error; /* errno of the request itself */
    std::string sense;
};
extern const sg_outcome refused; /* CHECK CONDITION, illegal request, fixed format */

/* A drive that must receive exactly the commands named, in their order; a missing, different or further one
 * fails the test. Every request must also have the fixed fields that the sg driver wants. One at a time. */
struct fake_drive {
    fake_drive();
    ~fake_drive();
    fake_drive(const fake_drive &) = delete;

    /* command: "none", "in" or "out", command block, [data length], data sent. The reply may be shorter or
     * longer than the room for it. */
    void expect(const std::string &command, const std::string &reply = "", const sg_outcome &outcome = {});

    int receive(int fd, sg_io_hdr *hdr);

    struct exchange {
        std::string command;
        std::string reply;
        sg_outcome outcome;
    };
    Dev dev = {};          /* a record of this drive, with a descriptor that only the fake knows */
    int child_report = -1; /* where a forked child writes its clock readings and its first command */
    std::deque<exchange> expected;
    pid_t owner;
};

struct fake_process {
    int forks_left = -1;         /* forks until fork fails; -1: it never does */
    std::vector<time_t> pauses;  /* seconds, of each that was not waited for */
    std::deque<time_t> clock;    /* what time tells, its last for ever; empty: the real time */
    unsigned clock_readings = 0;
};
extern fake_process process;
