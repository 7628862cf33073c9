/* files.h - paths below the root directory, and files that a root process must create with care. */
#pragma once

#include "base/handles.h"
#include "base/text.h"

#include <string>

/* "<reldir>/<datadir>/<filename>", an absent reldir counting as empty, cut to path_size - 1 characters. The
 * doubled slashes that this yields are part of the names the program shows and are kept. */
std::string build_pathname(const text &reldir, const char *datadir, const char *filename);

/* "<prefix>/<s>". */
std::string prepend(const std::string &prefix, const std::string &s);

/* 1 when the calling user may read the file, else 0 with errno set. */
int is_readable(const char *path);

/* A stream over the descriptor, which it takes; null with errno set on failure or where there is no
 * descriptor. */
file_ptr open_stream(unique_fd fd, const char *mode);

/* Creates the file anew for writing, replacing a file that stands there. A symbolic link there is never
 * followed nor replaced: it fails with ELOOP. Returns null with errno set on failure. */
file_ptr create_file(const char *path);

/* Opens a descriptor for appending to a regular file, created when missing. Never follows a symbolic link in
 * the last component (ELOOP), never blocks on a pipe, refuses anything but a regular file with one name
 * (EEXIST). Close-on-exec. Returns -1 with errno set on failure. */
int open_for_append(const char *path);

/* open_for_append as a stream; null with errno set on failure. */
file_ptr append_file(const char *path);

/* Closes a file that was written to, if it is open. What did not reach the disk is reported under its path on
 * the error stream. */
void close_written(file_ptr f, const char *path);

/* True when path names a symbolic link itself, dangling or not. */
bool is_symlink(const char *path);

/* Searches PATH for the first executable of `names` (ended by null): the first directory that holds any of
 * them wins, and within it the earlier name. Traces each candidate to the error stream. Returns the name's
 * index, or -1. */
int check_executable(const char *const names[]);
