#include "fw_download/options.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <getopt.h>

namespace fw_download
{

static const char usage[] =
    "usage: vandrel-fw-download -b HOST -t TARGET -l IMAGE [-n] [-D]...\n"
    "  -b, --host HOST      first number of the drive's H:C:T:L\n"
    "  -t, --target TARGET  third number\n"
    "  -l, --image IMAGE    file to write into the drive\n"
    "  -n, --yes            don't ask\n"
    "  -D, --debug          tell more of what is sent and answered; up to three times\n"
    "      --help, --version\n";

static const option long_options[] = {
    {"host",    required_argument, nullptr, 'b'},
    {"target",  required_argument, nullptr, 't'},
    {"image",   required_argument, nullptr, 'l'},
    {"yes",     no_argument,       nullptr, 'n'},
    {"debug",   no_argument,       nullptr, 'D'},
    {"help",    no_argument,       nullptr, 'h'},
    {"version", no_argument,       nullptr, 'V'},
    {nullptr,   0,                 nullptr, 0  },
};

/* Decimal digits only: a sign or a blank would make strtoul find some other drive. */
static bool parse_number(const char *s, unsigned *number)
{
    if (*s == '\0' || strspn(s, "0123456789") != strlen(s)) return false;
    errno = 0;
    const unsigned long value = strtoul(s, nullptr, 10);
    if (errno != 0 || value > UINT_MAX) return false;
    *number = static_cast<unsigned>(value);
    return true;
}

static parsed wrong(const console &con, const char *what)
{
    complain(con, "%s", what);
    say({.out = con.err}, "%s", usage);
    return parsed::wrong;
}

parsed parse_options(const console &con, int argc, char *argv[], options *o)
{
    bool has_host = false, has_target = false;
    for (int c; (c = getopt_long(argc, argv, "b:t:l:nD", long_options, nullptr)) != -1;) {
        switch (c) {
        case 'b':
            has_host = parse_number(optarg, &o->host);
            if (!has_host) return wrong(con, "HOST must be a number");
            break;
        case 't':
            has_target = parse_number(optarg, &o->target);
            if (!has_target) return wrong(con, "TARGET must be a number");
            break;
        case 'l':
            o->image = optarg;
            break;
        case 'n':
            o->yes = true;
            break;
        case 'D':
            ++o->debug;
            break;
        case 'h':
            return say(con, "%s", usage), parsed::shown;
        case 'V':
            return say(con, "vandrel-fw-download %s\n", VANDREL_VERSION), parsed::shown;
        default:
            return wrong(con, "wrong option");
        }
    }
    if (optind < argc) return wrong(con, "only options are expected");
    if (!has_host || !has_target || o->image.empty()) return wrong(con, "host, target and image are needed");
    return parsed::run;
}

} // namespace fw_download
