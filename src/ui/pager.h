/* pager.h - read-only viewers for text files. */
#pragma once

/* Shows a text file full-screen until the operator leaves it. Starts and ends curses mode. A file that can't
 * be opened shows nothing. */
void showfile(const char *pathname);
