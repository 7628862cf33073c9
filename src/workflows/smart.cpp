#include "workflows/smart.h"

#include "base/settings.h"
#include "base/signals.h"
#include "device/dev.h"
#include "targets/listings.h"
#include "targets/marks.h"
#include "ui/menu.h"
#include "workflows/drive_list.h"
#include "workflows/locate.h"
#include "workflows/smart_page.h"

#include <cstdio>

constexpr char task_name[] = "S.M.A.R.T. check";

static const action SMART_actions[] = {
    {'l', toggle_locate},
    {0,   nullptr      },
};

/* List callback: sets the drive's `failed` when the attribute's raw value is not 0; user_data points to the
 * attribute number (uint8_t). A drive that can't be read is not failed. */
static void check_SMART(gpointer data, gpointer user_data)
{
    auto *dev = static_cast<Dev *>(data);
    const uint8_t wanted = *static_cast<const uint8_t *>(user_data);
    dev->failed = 0;
    const std::vector<SMART> records = get_SMART_records(dev);
    if (records.empty()) return;

    for (const SMART &record : records) {
        if (record.id == 0) break;
        if (verbose) fprintf(stderr, "%02x - %u\n", record.id, static_cast<unsigned>(record.raw));
        if (record.id != wanted || record.raw == 0) continue;
        fprintf(stderr, "Device failed SMART test\n");
        dev->failed = 1;
    }
    dev->selected = 0; /* from here on: its locate LED is not lit */
}

static gint show_SMART_line(gconstpointer a, gconstpointer)
{
    return !show_all && !static_cast<const Dev *>(a)->failed;
}

static const char *format_SMART_line(gpointer data, short *colorp)
{
    static char line[menu_line_size];
    const auto *dev = static_cast<const Dev *>(data);
    if (!dev) return " Adp | Un,Drv | Vendor   | Model            | Revision | Serial-Number";
    if (show_SMART_line(dev, nullptr) != 0)
        return nullptr; /* the highlight passes over it, so it takes no row */
    snprintf(line, sizeof line, "%4s | %-6s | %-8s | %-16s | %-8s | %s", shown(dev->adapter),
             unit_drive_column(dev).c_str(), shown(dev->vendor), shown(dev->model), shown(dev->rev),
             shown(dev->serial));
    if (colorp) *colorp = dev->selected ? col_no : 0;
    return line;
}

/* The menu of the drives that failed. However it ends, no LED stays lit. */
static void show_failed_drives(GList *devlist)
{
    menu("S.M.A.R.T. Check", devlist, format_SMART_line, show_SMART_line, SMART_actions,
         SMART187_help_path.c_str());
    g_list_foreach(devlist, end_locate, nullptr);
    obey_end_request();
}

status *do_SMART_check(GList *devlist, const char *mapname, const text &reldir, uint8_t id)
{
    fprintf(stderr, "*** do_SMART_check(mapname=\"%s\", reldir=\"%s\", id=%u)\n", mapname,
            reldir ? reldir->c_str() : "NULL", id);
    const std::string task = format_text(question_size, "%s (ID=%u)", task_name, id);
    const list_ptr<free_one_map> entries = match_drive_list(devlist, mapname, reldir, task.c_str());
    if (!entries) return new_status(task_name, status_fail);

    unsigned failed = 0;
    g_list_foreach(devlist, check_SMART, &id);
    g_list_foreach(devlist, count_failed, &failed);
    if (failed > 0 || show_all) show_failed_drives(devlist);

    unsigned drives = 0; /* that the drive list names; a drive that fails need not be one of them */
    g_list_foreach(devlist, count_drives_with_image, &drives);
    const char *result = failed > 0 ? status_fail : status_ok;
    return new_status(format_text(question_size, "%s (%u drives)", task_name, drives),
                      drives > 0 ? result : status_none);
}
