/* controller.h - the simulated controllers: which library serves them, and how it numbers them. */
#pragma once

#include "rehearsal/machine/machine.h"

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

/* The first drive at this place, or null. */
const drive_profile *find_controller_drive(const machine &m, unsigned controller, unsigned enclosure,
                                           unsigned slot);

} // namespace rehearsal
