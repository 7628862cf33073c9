/* run_lock.h - one run at a time: two of them would write the same drives. */
#pragma once

#include "base/handles.h"

/* Only root writes there, so nobody else can hold the lock and stop updates. */
constexpr char run_lock_path[] = "/run/vandrel.lock";

/* Takes the lock of this machine (flock) into *lock. It lasts until the last process that has its descriptor
 * ends: that is inherited on purpose, so that a flashing tool which outlives a killed program keeps the next
 * run away from the drive it is writing. Returns true also without a lock where this user may not write in
 * /run; false, after a message that names who holds it or what failed, when the run must not go on. */
bool take_run_lock(unique_fd *lock);
