/* controllers.cpp - targets for what the controller library answers, for its drives too. */
#include "input.h"

#include "device/storelib/controller.h"
#include "device/storelib/discovery.h"
#include "device/storelib/log_pages.h"

#include <strings.h>

static void use_drive(Dev *dev)
{
    assert(is_text(dev->adapter, 4) && is_text(dev->vendor, 8) && is_text(dev->model, 40) &&
           is_text(dev->rev, 8));
    assert(!dev->serial || is_text(dev->serial, UINT16_MAX));
    uint8_t page[smart_page_size];
    dev->get_SMART(dev, page);
    dev->get_device_info(dev);
    dev->get_fw_version(dev);
    assert(!dev->target_rev || is_text(dev->target_rev, 8));
    dev->do_load_unload(dev, 1);
    dev->start_locate(dev);
    dev->end_locate(dev);
    dev->is_Tirsel_3(dev);
}

/* Controllers and their drives, in any number. */
void library(input &)
{
    storelib::init_storelib({}, nullptr);
    GList *drives = storelib::scan_devices_storelib(nullptr);
    for (const GList *node = drives; node; node = node->next) {
        assert(!node->next || compare_devices(node->payload, node->next->payload) <= 0);
        use_drive(static_cast<Dev *>(node->payload));
    }
    g_list_free_full(drives, free_one_dev);
    storelib::exit_storelib();
}

/* Log pages, and the lists that select pages and parameters, with which the input begins. */
void log_pages(input &in)
{
    Dev dev = fake_dev(interface_scsi);
    const std::string pages = in.line();
    const std::string parameters = in.line();

    /* A range in front of a list selects its own values and leaves the others to the list. */
    const uint32_t value = in.number(2);
    const uint32_t lo = in.number(2);
    const uint32_t hi = in.number(2);
    const std::string longer = std::to_string(lo) + "-" + std::to_string(hi) + "," + pages;
    const bool is_inside = lo <= value && value <= hi;
    const bool is_listed =
        strcasecmp(pages.c_str(), "all") != 0 && storelib::selected_page(value, pages.c_str());
    assert(storelib::selected_page(value, longer.c_str()) == (is_inside || is_listed));

    const info selection = {pages.c_str(), parameters.c_str()};
    storelib::dump_all_log_pages(&dev, &selection);
}
