/* page.h - one screenful of a text file. */
#pragma once

#include <cstdio>
#include <ncurses.h>

/* Draws lines startline (0-based) to startline + rows - 1 of src on rows 0 to rows - 1 of scr, cut to cols
 * columns. Reads src from its start and keeps one line at a time. Returns 1 when no line follows the last one
 * drawn, else 0. */
int showfileseg(FILE *src, int startline, WINDOW *scr, int rows, int cols);

/* What the footer says of the position: "(All) ", "(Top) ", "(Bot) " or nothing. */
const char *position_indicator(int startline, bool at_end);
