/* identify.h - asking a drive behind a controller who it is, how it is, and behind which controller. */
#pragma once

#include "device/dev.h"

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

} // namespace storelib
