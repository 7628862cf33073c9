/* exit_status.h - how the program ends, for whoever calls it. */
#pragma once

namespace fw_download
{

/* 46 is never among them: callers take it for a controller tool's spurious failure. */
enum exit_status {
    exit_done = 0,       /* the drive took the whole image */
    exit_failed = 1,     /* it refused or failed, or the operator did not agree */
    exit_usage = 2,      /* wrong command line */
    exit_no_disk = 3,    /* no disk, or more than one, at this address */
    exit_bad_image = 4,  /* unreadable, empty, no regular file, or of a size that the drive cannot take */
    exit_in_use = 5,     /* nothing was sent */
    exit_no_download = 6 /* the drive offers no way of downloading that is known */
};

} // namespace fw_download
