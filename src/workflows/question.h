/* question.h - asking the operator outside full-screen mode. */
#pragma once

/* Prints "question? " and reads lines from standard input until one begins with "Yes" (1) or "No" (0), in
 * exactly this letter case. End of input counts as "No". */
int yorn(const char *question);
