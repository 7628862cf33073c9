/* transport.h - the SCSI generic node as the way to a drive. */
#pragma once

#include "fw_download/command.h"

#include "base/handles.h"

namespace fw_download
{

struct node {
    unique_fd fd;
    bool wants_details; /* decoded sense data with each outcome */
};

/* Opens the node for reading and writing; n->fd stays empty, with errno set, when that fails. */
unique_fd open_node(const char *path);

/* The wire whose handle is a node. */
extern const wire node_wire;

} // namespace fw_download
