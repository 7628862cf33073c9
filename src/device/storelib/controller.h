/* controller.h - RAID controllers reachable through the management libraries that are installed. */
#pragma once

#include "base/text.h"
#include "device/dev.h"
#include "device/storelib/abi.h"
#include "list/list.h"

#include <cstdint>

/* Finds the number of the mode in which the flashing tool is to send firmware to this vendor's drives.
 * Returns 1 with it in *mode; 0 when none is to be named. */
using find_download_mode = int(const Dev *dev, unsigned *mode);

struct controller {
    uint32_t ctrlId;                         /* as the library reports it, all 32 bits */
    ProcessLibCommandFunc ProcessLibCommand; /* of the library that reported it */
    uint32_t num_drives;                     /* count of the last drive listing */
    uint16_t pci_vendor_id;
    uint16_t pci_device_id;
    const char *soname; /* file name of its library; a constant */
    void *lib;          /* handle of the library, on the first controller it reported only; else null */
    find_download_mode *find_mode; /* as handed to init_storelib */
};

namespace storelib
{

/* Loads every variant of the library that is installed below reldir (absent: the file-system root) and asks
 * each for its controllers. Silent when there is none; a library that fails is reported and left out. Does
 * nothing when controllers are known already. find_mode (may be null: no mode is known) is asked when a drive
 * is to be flashed. */
void init_storelib(const text &reldir, find_download_mode *find_mode);

/* Releases every library and the controller records. */
void exit_storelib();

/* The controllers found, in discovery order (GList of controller); borrowed. */
GList *known_controllers();

} // namespace storelib
