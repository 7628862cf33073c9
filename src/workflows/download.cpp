#include "workflows/download.h"

#include "base/settings.h"
#include "base/signals.h"
#include "catalogue/match.h"
#include "device/dev.h"
#include "targets/listings.h"
#include "targets/marks.h"
#include "targets/targets.h"
#include "ui/dialogs.h"
#include "ui/menu.h"
#include "workflows/update.h"

#include <cstdio>

constexpr char NoDevMsg[] = "No drives found which need a firmware update";

static int clear_selected_all(GList *list, gpointer)
{
    g_list_foreach(list, clear_selected_one, nullptr);
    return 0;
}

static int fw_select(GList *, gpointer node_data)
{
    auto *dev = static_cast<Dev *>(node_data);
    if (dev->image) dev->selected = 1;
    return 1;
}

static int fw_deselect(GList *, gpointer node_data)
{
    static_cast<Dev *>(node_data)->selected = 0;
    return 1;
}

static const action fw_actions[] = {
    {'q', clear_selected_all}, /* leaving this way updates nothing */
    {'+', fw_select         },
    {'-', fw_deselect       },
    {0,   nullptr           },
};

static const char *format_fw_update_line(gpointer data, short *colorp)
{
    static char line[menu_line_size];
    const auto *dev = static_cast<const Dev *>(data);
    if (!dev) return "S| Adp | Un,Drv | Vendor   | Model            | Revision | Image          ";
    if (!dev->image && !show_all) return nullptr;

    snprintf(line, sizeof line, "%c|%4s | %-6s | %-8s | %-16s | %-8s | %s", dev->selected ? '+' : '-',
             shown(dev->adapter), unit_drive_column(dev).c_str(), shown(dev->vendor), shown(dev->model),
             shown(dev->rev), dev->image ? last_component(dev->image) : "<NONE>");
    if (colorp) *colorp = dev->selected ? col_yes : col_no;
    return line;
}

static gint show_fw_update_line(gconstpointer a, gconstpointer)
{
    return !show_all && !static_cast<const Dev *>(a)->image;
}

static unsigned count_of(GList *devlist, GFunc counter)
{
    unsigned n = 0;
    g_list_foreach(devlist, counter, &n);
    return n;
}

static status *download_result(unsigned drives, const char *result)
{
    return new_status(format_text(question_size, "Download Firmware (%u drives)", drives), result);
}

/* Asks before the download of an interactive run. */
static bool wants_update(unsigned drives)
{
    const std::string question =
        format_text(question_size, "Do you want to update %u device%s", drives, drives == 1 ? "" : "s");
    return yorn(question.c_str()) != 0;
}

status *do_download_firmware(GList *devlist, GList *fw_map, const text &reldir, const text &targets)
{
    if (verbose)
        fprintf(stderr, "*** do_download_firmware(fw_map=%p, reldir=\"%s\", targets=\"%s\")\n",
                static_cast<void *>(fw_map), reldir ? reldir->c_str() : "/",
                targets ? targets->c_str() : "-");
    g_list_foreach(devlist, reset_device_node, nullptr);
    if (!devlist) return download_result(0, status_none);

    g_list_foreach(devlist, find_image, fw_map);
    g_list_foreach(devlist, select_auto_target, targets ? const_cast<char *>(targets->c_str()) : nullptr);
    if (verbose) {
        fprintf(stderr, "==========\nDevices scanned, now starting Firmware download\n");
        g_list_foreach(devlist, dump_one_device, nullptr);
    }

    update_args args = {};
    args.yes = targets ? 1 : 0;
    args.total = count_of(devlist, count_selected);
    if (verbose) fprintf(stderr, "%u drives available for update\n", args.total);
    if (args.total == 0 && !show_all) return download_result(0, status_none);
    const int accepted = show_warning_and_request_confirmation(args.yes);
    obey_end_request();
    if (!accepted) return download_result(0, status_none);

    if (!targets)
        menu("Firmware Update", devlist, format_fw_update_line, show_fw_update_line, fw_actions,
             FW_help_path.c_str());
    obey_end_request();
    args.total = count_of(devlist, count_selected);
    if (args.total == 0) {
        if (!targets) {
            printf("%s\n", NoDevMsg);
            fflush(stdout);
        }
        return download_result(0, status_none);
    }
    if (targets || wants_update(args.total)) start_update(devlist, &args);
    return download_result(args.total, args.numerrors ? status_fail : status_ok);
}
