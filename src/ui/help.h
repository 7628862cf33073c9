/* help.h - the help page on top of a running menu. */
#pragma once

/* Shows a text file on top of the screen until the operator leaves it. Only in curses mode. A file that can't
 * be opened shows nothing. */
void show_help(const char *filename);
