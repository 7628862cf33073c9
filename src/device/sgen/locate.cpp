#include "device/sgen/locate.h"

#include "base/signals.h"
#include "base/trace.h"
#include "device/cdb.h"
#include "device/sgen/ata_passthrough.h"
#include "device/sgen/transport.h"

#include <csignal>
#include <cstdio>
#include <ctime>

#include <sys/prctl.h>
#include <unistd.h>

constexpr useconds_t pause_after_failure_us = 100000;

namespace sgen
{

/* The child's life: one second idle, one second busy, until it is killed. */
[[noreturn]] static void blink(Dev *dev)
{
    cdb_t cdb;
    const size_t cdblen = dev->interface == interface_ata
                              ? build_SAT_cdb(cdb, ATA_READ_VERIFY_EXT, 0, 1, 0)
                              : build_CDB(cdb, TEST_UNIT_READY, 0, 0, CDB_OPTION_END);
    for (;;) {
        const bool is_lit = time(nullptr) % 2 != 0;
        /* A drive that was pulled fails every command at once, and each failure is reported. */
        if (is_lit && !scsi_cmd_nodata(dev, cdb, cdblen)) usleep(pause_after_failure_us);
    }
}

void start_locate(Dev *dev)
{
    const pid_t parent = getpid();
    dev->locate_pid = fork();
    if (dev->locate_pid == -1) {
        report_error("fork");
        return;
    }
    if (dev->locate_pid != 0) return;

    reset_signals(); /* the menu it is started from holds them */
    /* However the program ends, the light must not go on blinking. */
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
    blink(dev);
}

void end_locate(Dev *dev)
{
    /* To kill, a pid that is not positive is a group of processes, or every one there is. */
    if (dev->locate_pid > 0) kill(dev->locate_pid, SIGKILL);
    dev->locate_pid = -1;
}

} // namespace sgen
