#include "workflows/columns.h"

constexpr size_t unit_drive_size = 9;

std::string unit_drive_column(const Dev *dev)
{
    return format_text(unit_drive_size, "%d,%d", static_cast<int>(dev->unit_host),
                       static_cast<int>(dev->slot_id));
}
