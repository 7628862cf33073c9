/* columns.h - what the lines of several menus have in common. */
#pragma once

#include "device/dev.h"

#include <string>

constexpr size_t menu_line_size = 256;

/* The unit/drive column, "<unit_host>,<slot_id>" cut to 8 characters. */
std::string unit_drive_column(const Dev *dev);
