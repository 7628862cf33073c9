#include "device/storelib/log_pages.h"

#include "base/trace.h"
#include "device/bytes.h"
#include "device/cdb.h"
#include "device/storelib/scsi_passthrough.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <strings.h>
#include <vector>

namespace storelib
{

constexpr size_t page_header_size = 4;      /* page code, subpage, page length (big-endian) */
constexpr size_t parameter_header_size = 4; /* parameter code (big-endian), control, length */
constexpr uint8_t supported_pages = 0;
constexpr uint8_t page_code_mask = 0x3F;
constexpr uint8_t current_cumulative = 0x40; /* page control 01b in CDB byte 2 */

/* Reads an unsigned number, its base by its prefix, behind white space, and moves *p behind it. Returns
 * false when there is none. */
static bool read_number(const char **p, unsigned long *number)
{
    const char *start = *p;
    while (isspace(static_cast<unsigned char>(*start)))
        ++start;
    if (!isdigit(static_cast<unsigned char>(*start))) return false;
    char *behind;
    *number = strtoul(start, &behind, 0);
    *p = behind;
    return true;
}

int selected_page(uint32_t value, const char *list)
{
    trace("selected_page(%u, \"%s\")\n", value, list ? list : "NULL");
    if (!list || strcasecmp(list, "all") == 0) return 1;
    while (*list != '\0') {
        trace("list=\"%s\"\n", list);
        unsigned long lo;
        if (!read_number(&list, &lo)) break;
        unsigned long hi = lo;
        if (*list == '-' && !read_number(&++list, &hi)) break;
        if (*list == ',') ++list;
        if (lo <= value && value <= hi) return 1;
    }
    return 0;
}

/* LOG SENSE into data; control_and_page is CDB byte 2. */
static bool log_sense(Dev *dev, uint8_t control_and_page, std::vector<uint8_t> *data)
{
    cdb_t cdb;
    const size_t cdblen = build_CDB(cdb, LOG_SENSE, 0, data->size(), CDB_OPTION_END);
    cdb[2] = control_and_page;
    return SCSI_cmd_in(dev, cdb, cdblen, data->data(), data->size()) != 0;
}

/* The length that a page's header gives, header included; 0 when it can't be read. */
static size_t log_page_length(Dev *dev, uint8_t control_and_page)
{
    std::vector<uint8_t> header(page_header_size);
    if (!log_sense(dev, control_and_page, &header)) return 0;
    return get_be(header.data() + 2, 2) + page_header_size;
}

static void print_parameter(uint8_t page_code, const uint8_t *parameter, size_t nbytes)
{
    const auto code = static_cast<unsigned>(get_be(parameter, 2));
    const uint8_t length = parameter[3];
    printf("%02x %04x %02x %02x:", page_code, code, parameter[2], length);
    /* One may claim more than was sent. */
    const size_t end = std::min(nbytes, parameter_header_size + length);
    for (size_t i = parameter_header_size; i < end; ++i)
        printf(" %02x", parameter[i]);
    printf("\n");
}

void dump_one_log_page(Dev *dev, uint8_t page_code, const char *parameterlist)
{
    trace("dump_one_log_page(dev=%p, page_code=%u, parameterlist=\"%s\")\n", static_cast<void *>(dev),
          page_code, parameterlist ? parameterlist : "(null)");
    const auto control_and_page = static_cast<uint8_t>(page_code | current_cumulative);
    std::vector<uint8_t> page(log_page_length(dev, control_and_page));
    if (page.empty() || !log_sense(dev, control_and_page, &page)) return;

    printf("*** PAGE CODE %02x:\n", page_code);
    for (size_t at = page_header_size; at + parameter_header_size < page.size();) {
        const uint8_t *parameter = page.data() + at;
        if (selected_page(static_cast<uint32_t>(get_be(parameter, 2)), parameterlist))
            print_parameter(page_code, parameter, page.size() - at);
        at += parameter_header_size + parameter[3];
    }
}

void dump_all_log_pages(Dev *dev, const info *infop)
{
    trace("dump_all_log_pages(dev=%p)\n", static_cast<void *>(dev));
    printf("%s:\n", device_name(dev));
    std::vector<uint8_t> pages(log_page_length(dev, supported_pages));
    if (pages.empty()) return;
    trace("length of LOG PAGE 0: %u\n", static_cast<unsigned>(pages.size()));
    if (!log_sense(dev, supported_pages, &pages)) return;
    trace("pagelist=\"%s\"\n", infop->pagelist ? infop->pagelist : "(null)");

    for (size_t i = page_header_size; i < pages.size(); ++i) {
        const auto page = static_cast<uint8_t>(pages[i] & page_code_mask);
        if (page != supported_pages && selected_page(page, infop->pagelist))
            dump_one_log_page(dev, page, infop->parameterlist);
    }
}

} // namespace storelib
