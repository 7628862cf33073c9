/* files.h - paths below the root directory, and files that a root process must create with care. */
#pragma once

#include "base/handles.h"
#include "base/text.h"

#include <string>

constexpr char DataDir[] = "/Data"; /* below the root directory: map, lists, images, logs */

/* The root directory as it stands in front of a path: reldir, or nothing for the file system's own. Borrowed
 * from reldir. */
const char *root_of(const text &reldir);

/* "<reldir>/<datadir>/<filename>", an absent reldir counting as empty, cut to path_size - 1 characters. The
 * doubled slashes that this yields are part of the names the program shows and are kept. */
std::string build_pathname(const text &reldir, const char *datadir, const char *filename);

/* "<reldir>/Data/<filename>", cut like the others: the names of the configuration and of the diagnostics have
 * single slashes. */
std::string data_path(const text &reldir, const char *filename);

/* "<prefix>/<s>". */
std::string prepend(const std::string &prefix, const std::string &s);

/* 1 when the calling user may read the file, else 0 with errno set. */
int is_readable(const char *path);

/* A stream over the descriptor, which it takes; null with errno set on failure or where there is no
 * descriptor. */
file_ptr open_stream(unique_fd fd, const char *mode);

/* Opens a data file for reading. A pipe or a device in its place could keep the program waiting for ever:
 * anything but a regular file is refused with EINVAL, after a message, because many a caller has nothing to
 * say of a file that is missing. Returns null with errno set on failure. */
file_ptr open_data_file(const char *path);

/* Creates the file anew for writing, in place of whatever stands there: in a directory where everybody may
 * write that could be a link, a pipe, or somebody else's file. Never follows a link. Returns null with errno
 * set on failure. */
file_ptr create_file(const char *path);

/* Opens a descriptor for appending to a regular file with one name, created when missing. What else stands
 * there is replaced, never followed nor waited for. Close-on-exec. Returns -1 with errno set on failure. */
int open_for_append(const char *path);

/* open_for_append as a stream; null with errno set on failure. */
file_ptr append_file(const char *path);

/* Closes a file that was written to, if it is open. What did not reach the disk is reported under its path on
 * the error stream. */
void close_written(file_ptr f, const char *path);

/* Takes a file out of the way by renaming it to its name with "~" appended, in place of an earlier one.
 * Returns true when nothing stands at path any more, else false with errno set. */
bool move_aside(const char *path);

/* Searches PATH for the first executable of `names` (ended by null): the first directory that holds any of
 * them wins, and within it the earlier name. Traces each candidate to the error stream. Returns the name's
 * index, or -1. */
int check_executable(const char *const names[]);
