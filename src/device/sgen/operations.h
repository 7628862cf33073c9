/* operations.h - what this back-end installs in the operations table of its drives (see device/dev.h), beside
 * the transport's functions, and its start and stop hooks. */
#pragma once

#include "base/text.h"
#include "device/dev.h"
#include "device/sgen/identify.h"
#include "device/sgen/transport.h"

namespace sgen
{

void init_sgen(const text &reldir); /* nothing to start */
void exit_sgen();                   /* nothing to stop */

/* Sends the heads `count` times from the first block to the last and back, by reading one block at each end
 * past any cache. Failing commands do not end it. */
void do_unload_load(Dev *dev, uint32_t count);

/* SMART READ DATA (ATA) into dst, smart_page_size bytes. */
int get_SMART(Dev *dev, uint8_t *dst);

/* The fw_download command line for this drive and its image. */
std::unique_ptr<Cmd> fw_update(Dev *dev);

/* Starts, and stops, a child process that keeps the activity light busy on every odd second. */
void start_locate(Dev *dev);
void end_locate(Dev *dev);

int is_Tirsel_3(Dev *dev);      /* always 0: no controller in between */
void get_device_info(Dev *dev); /* does nothing: the kernel keeps the identity */

/* Sets the read-cache-disable bit of a SCSI drive's caching mode page (SBC) to the low bit of rcd. Returns
 * the bit's previous value; 0, with a message, when the drive refuses. */
uint32_t set_RCD(Dev *dev, uint32_t rcd);

} // namespace sgen
