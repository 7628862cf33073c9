/* marks.h - small list callbacks over drives: counting, clearing and refreshing what the workflows marked. */
#pragma once

#include "device/dev.h"
#include "list/list.h"

/* Add 1 to the unsigned counter user_data for a drive that is selected, that failed its check, that has an
 * image. */
void count_selected(gpointer data, gpointer user_data);
void count_failed(gpointer data, gpointer user_data);
void count_drives_with_image(gpointer data, gpointer user_data);

/* Takes the drive out of the selection. */
void clear_selected_one(gpointer data, gpointer user_data);

/* Clears selected and failed and forgets the image. */
void reset_device_node(gpointer data, gpointer user_data);

/* Reads the revision the drive runs now into target_rev; rev keeps the one that discovery found. */
void reload_fw_version(gpointer data, gpointer user_data);
