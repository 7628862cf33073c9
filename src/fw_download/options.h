/* options.h - the command line. */
#pragma once

#include "fw_download/console.h"

#include <string>

namespace fw_download
{

struct options {
    unsigned host = 0;   /* first number of the kernel's H:C:T:L */
    unsigned target = 0; /* third */
    std::string image;
    bool yes = false; /* ask nothing */
    int debug = 0;
};

enum class parsed { run, shown, wrong };

/* Reads the command line into *o. Shows help or version where asked for, and says what is wrong otherwise. */
parsed parse_options(const console &con, int argc, char *argv[], options *o);

} // namespace fw_download
