/* shell.h - commands that are a shell's business. */
#pragma once

/* Runs a command through the shell and waits for its end; its result nobody asks for. What it says goes to
 * the error stream: standard output is for the screens and for calling scripts. */
void run_in_shell(const char *command);
