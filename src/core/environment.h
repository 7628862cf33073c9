/* environment.h - the process environment that a run needs before anything is looked up. */
#pragma once

#include <string>

/* Makes descriptors 0 to 2 refer to something, so that no file opened later, least of all a drive, takes the
 * place of a standard stream; undoes an inherited disregard of ended children, and disregards readers that
 * went away; sets HOME to "/" unless it is set; changes to "/". Returns true, or false with a message. */
bool prepare_process();

/* Puts the program directories of the tree below reldir in front of PATH. Returns true, or false with a
 * message. */
bool extend_PATH(const char *pname, const std::string &reldir);

/* Puts the library directories of the tree below reldir in front of LD_LIBRARY_PATH. Returns true, or false
 * with a message. */
bool extend_LD_LIBRARY_PATH(const char *pname, const std::string &reldir);

/* Writes "<pname>: new <name>=..." to the error stream. */
void show_new_variable(const char *pname, const char *name);

/* Sends the error stream to a file made anew, one line at a time. When the file can't be made, says so, and
 * leaves the stream where it is; where there will be screens, nothing more is written to it. */
void redirect_diagnostics(const char *path, bool has_screens);

/* First line of the version file less trailing white space; "?.?" when there is none. */
std::string read_version(const char *path);
