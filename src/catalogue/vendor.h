/* vendor.h - the vendor table: which download mode a controller's flashing tool is to use for whose drives.
 */
#pragma once

#include "device/dev.h"
#include "list/list.h"

#include <cstdint>
#include <string>

struct vendor {
    std::string name;
    uint32_t wb_mode;
};

extern GList *vendormap; /* rows sorted by name; null: none */

/* Reads the table: lines NAME,NUMBER[,...], NAME in double quotes if need be (doubled inside for one), NUMBER
 * decimal, 0x hexadecimal or 0 octal, '#' starts a comment line. Bad lines are dropped, after a message where
 * one fits. Returns the rows, null when the file is missing (silently) or holds none. The caller owns the
 * list: free_one_vendor. */
GList *load_vendormap(const char *pathname);

/* strcmp order of two names; a and b point to records that begin with the name, a std::string. */
gint compare_vendor_names(gconstpointer a, gconstpointer b);

/* Looks the drive's vendor up in vendormap. Returns 1 with its number in *mode; 0, *mode untouched, for an
 * ATA drive and for a vendor that the table does not name. */
int get_wb_mode(const Dev *dev, unsigned *mode);

/* Releases one row. */
void free_one_vendor(gpointer data);
