/* log_pages.h - SCSI log pages as text (SPC, LOG SENSE). No mode of the program asks for them; whoever
 * diagnoses a drive behind a controller can. */
#pragma once

#include "device/dev.h"

/* Which log pages to dump, and which of their parameters: null or "all" for all, else numbers and ranges such
 * as "0x10-0x1f,0x2f". The operation's own name for it, in every drive's table. */
struct info {
    const char *pagelist;
    const char *parameterlist;
};

namespace storelib
{

/* Prints the selected log pages on standard output. */
void dump_all_log_pages(Dev *dev, const info *infop);

/* Prints one log page's selected parameters. */
void dump_one_log_page(Dev *dev, uint8_t page_code, const char *parameterlist);

/* 1 when `list` (see info) selects value. A place where no number can be read ends the list. */
int selected_page(uint32_t value, const char *list);

} // namespace storelib
