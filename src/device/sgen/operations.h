/* operations.h - start and stop of this back-end, and the operations of its drives (see device/dev.h) that
 * are no subject of their own. */
#pragma once

#include "base/text.h"
#include "device/dev.h"

namespace sgen
{

void init_sgen(const text &reldir); /* nothing to start */
void exit_sgen();                   /* nothing to stop */

/* SMART READ DATA (ATA) into dst, smart_page_size bytes. */
int get_SMART(Dev *dev, uint8_t *dst);

/* The fw_download command line for this drive and its image. */
std::unique_ptr<Cmd> fw_update(Dev *dev);

int is_Tirsel_3(Dev *dev);      /* always 0: no controller in between */
void get_device_info(Dev *dev); /* does nothing: the kernel keeps the identity */

} // namespace sgen
