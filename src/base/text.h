/* text.h - owned text that may be absent, bounded formatting, and small scanners over C strings. */
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

/* A text that was never set differs from an empty one: two absent texts are equal, and equal nothing else. */
using text = std::optional<std::string>;

/* The text for a "%s" of a message: an absent one reads "(null)", as printf prints a null pointer. */
const char *shown(const text &t);

/* The same for a text that a drive told, in a message to f: as it stands, unless f is a terminal, which would
 * obey control characters. There every byte but printable ASCII reads '?'. */
std::string shown_on(FILE *f, const text &t);

constexpr size_t path_size = 4096;        /* room of a path, its NUL included */
constexpr size_t search_path_size = 8192; /* room of PATH and LD_LIBRARY_PATH */
constexpr size_t command_size = 256;      /* room of a shell command */
constexpr size_t question_size = 128;     /* room of a question or of a summary line's name */
constexpr size_t line_size = 8192;        /* room of one line read from a file; longer lines come in pieces */

/* printf into a text of at most size - 1 characters; a longer result is cut there, after a message: a path or
 * a command that was cut is another one. */
__attribute__((format(printf, 2, 3))) std::string format_text(size_t size, const char *fmt, ...);

/* A new text of the characters from `from` up to and including `to`; empty when to lies before from. */
std::string my_strdup(const char *from, const char *to);

/* Removes every trailing white-space character (as isspace has it). */
void strip_trailing_space(std::string &s);

/* Removes leading and trailing white space in place. */
void stripblanks(std::string &s);

/* A copy of s cut at its first character that is not printable, which also drops a line end. */
std::string stripcr(std::string_view s);

/* The part of a path after its last '/', or the whole path when it holds none. Borrowed from path. */
const char *last_component(const char *path);

/* Copies the text from s up to the next delim (or the end) into dst of `avail` bytes, NUL-terminated and cut
 * to fit. Returns the position after the delimiter, or of the terminating NUL when the text ended; null, dst
 * untouched, when s is null or empty. */
const char *next_token(const char *s, char delim, char *dst, size_t avail);
