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

/* The menu's line for a drive: selection, address, identity, image. Null when the drive has no image and only
 * relevant drives are shown. With a null drive: the header. */
const char *format_fw_update_line(gpointer data, short *colorp);

/* 0 when the drive is offered in the menu. */
gint show_fw_update_line(gconstpointer a, gconstpointer b);

/* Menu actions on the drive under the highlight, and on all drives. */
int fw_select(GList *list, gpointer node_data);
int fw_deselect(GList *list, gpointer node_data);
int clear_selected_all(GList *list, gpointer node_data);
