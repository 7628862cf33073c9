/* download.h - the firmware download: which drives need new firmware, the operator's say in it, and the
 * update. */
#pragma once

#include "base/text.h"
#include "list/list.h"
#include "ui/status.h"

/* Runs the whole workflow over devlist (GList of Dev) with fw_map (GList of Map, may be null). targets names
 * the drives of an unattended run; without it the operator is asked. Returns the summary line, never null,
 * owned by the caller. */
status *do_download_firmware(GList *devlist, GList *fw_map, const text &reldir, const text &targets);
