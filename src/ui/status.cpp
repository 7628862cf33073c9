#include "ui/status.h"

#include <utility>

status *new_status(std::string name, const char *result)
{
    auto *line = new status;
    line->name = std::move(name);
    line->status = result;
    return line;
}

void free_one_status(void *data)
{
    delete static_cast<status *>(data);
}
