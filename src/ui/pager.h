/* pager.h - read-only viewers for text files. A file that can't be opened shows nothing. */
#pragma once

/* Shows a text file on top of a running screen until the operator leaves it. Only in curses mode. */
void show_help(const char *filename);

/* Shows a text file full-screen until the operator leaves it. Starts and ends curses mode. */
void showfile(const char *pathname);
