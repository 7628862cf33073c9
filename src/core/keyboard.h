/* keyboard.h - the console keyboard layout, chosen before anything has to be typed. */
#pragma once

#include "base/text.h"

/* Offers the console keymaps of the tree below reldir in a menu and loads the chosen one. Without any,
 * nothing is shown and the keyboard stays as it is. */
void select_keyboard(const text &reldir);

/* Loads one keymap file with loadkeys, echoing the command on the error stream; its result is ignored. */
void load_keymap(const char *path);
