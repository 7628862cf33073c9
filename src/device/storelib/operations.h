/* operations.h - what this back-end installs in the operations table of its drives (see device/dev.h), beside
 * the pass-through functions. */
#pragma once

#include "device/dev.h"

/* Which log pages to dump, and which of their parameters: null or "all" for all, else numbers and ranges such
 * as "0x10-0x1f,0x2f". */
struct info {
    const char *pagelist;
    const char *parameterlist;
};

namespace storelib
{

/* Reads the identity from the drive itself into vendor, model, rev and serial; what can't be read stays. */
void get_device_info(Dev *dev);

/* Reads the running firmware revision into target_rev; on failure that stays as it was. */
void get_fw_version(Dev *dev);

/* SMART READ DATA (ATA) into dst, smart_page_size bytes. */
int get_SMART(Dev *dev, uint8_t *dst);

/* Non-zero exactly behind the one controller model that reports a spurious error after an update. */
int is_Tirsel_3(Dev *dev);

/* Sends the heads `count` times between the first and the last block. Failing commands do not end it. */
void do_unload_load(Dev *dev, uint32_t count);

/* The command line of the controller's own flashing tool; null when none is installed. */
std::unique_ptr<Cmd> fw_update(Dev *dev);

/* Has the controller blink the slot's LED, and stop it. */
void start_locate(Dev *dev);
void end_locate(Dev *dev);

/* Prints the selected log pages (SPC LOG SENSE) on standard output. */
void dump_all_log_pages(Dev *dev, const info *infop);

/* Prints one log page's selected parameters. */
void dump_one_log_page(Dev *dev, uint8_t page_code, const char *parameterlist);

/* 1 when `list` (see info) selects value. A place where no number can be read ends the list. */
int selected_page(uint32_t value, const char *list);

} // namespace storelib
