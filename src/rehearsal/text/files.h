/* files.h - whole small files: read, written, replaced, appended to.
 * The rehearsal keeps everything in small text files, so that an operator can look at them with any pager. */
#pragma once

#include <string>
#include <string_view>

namespace rehearsal
{

/* Puts the content of the file into text. Returns false with errno set, text then unchanged. */
bool read_file(const std::string &path, std::string &text);

/* Creates the file or empties it, and writes text. Returns false with errno set. */
bool write_file(const std::string &path, std::string_view text);

/* Like write_file, but a reader sees either the old content or the new one, never a part: the program under
 * rehearsal, its children and the flashing stand-ins share these files. */
bool replace_file(const std::string &path, std::string_view text);

/* Appends text in one write, so that lines of several processes do not mix. Failure is not reported: a log
 * that cannot be written must not change what the program under rehearsal sees. */
void append_to_file(const std::string &path, std::string_view text);

} // namespace rehearsal
