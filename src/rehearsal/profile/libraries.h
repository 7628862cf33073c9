/* libraries.h - the libraries that serve simulated controllers, and how they number them. */
#pragma once

#include "rehearsal/profile/drive_profile.h"

namespace rehearsal
{

/* The library of a controller whose lines name none. */
constexpr char usual_library[] = "lib64/libstorelib.so";

/* Number of the library variant that a file is by its name, counted from 1; 0 when it is none. */
unsigned library_type(std::string_view path);

/* The symbol that this variant exports. */
const char *entry_point_of(unsigned library_type);

/* The id that the library reports: its variant in the top byte, below it the controller's number. */
uint32_t controller_id(const drive_profile &profile);

} // namespace rehearsal
