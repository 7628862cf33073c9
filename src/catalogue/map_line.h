/* map_line.h - the lines of a map file and the fields in them. */
#pragma once

#include "base/handles.h"
#include "base/text.h"

#include <string>
#include <string_view>

enum map_field_number { model_field, prev_rev_field, new_rev_field, image_field, num_map_fields };

/* Goes through a file line by line; a longer line than line_size - 1 characters counts as several. */
struct map_reader {
    file_ptr file;
    unsigned number;      /* of the line in `line`, from 1 */
    char line[line_size]; /* as read, its line end cut off once its content is known */
};

/* Steps to the next line with content, comments and empty lines being passed over (and traced in verbose
 * mode). Returns its first character that is not a blank, borrowed from the reader; null at the end of the
 * file. */
const char *next_map_line(map_reader *reader);

/* Splits a line's content into its fields, which point into it. A quoted field's closing quote is not passed
 * over: it opens the next field, so that quoted fields are written chained, "A"B"C"D". What follows the last
 * field is ignored. Returns true; false with the message for line `number` in *error when a field is missing
 * or has no end, the fields from there on being left as they were. */
bool split_map_line(const char *content, unsigned number, std::string_view *fields, std::string *error);
