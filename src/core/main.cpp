/* main.cpp - the program's spine: one pass from the command line to the summary page. */
#include "base/files.h"
#include "base/settings.h"
#include "base/signals.h"
#include "catalogue/map.h"
#include "catalogue/match.h"
#include "catalogue/vendor.h"
#include "core/config.h"
#include "core/environment.h"
#include "core/keyboard.h"
#include "core/options.h"
#include "core/run_lock.h"
#include "device/dev.h"
#include "device/sgen/discovery.h"
#include "device/sgen/operations.h"
#include "device/storelib/controller.h"
#include "device/storelib/discovery.h"
#include "revision.h"
#include "targets/listings.h"
#include "targets/marks.h"
#include "targets/targets.h"
#include "ui/dialogs.h"
#include "ui/status.h"
#include "workflows/download.h"
#include "workflows/smart.h"
#include "workflows/unload_load.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <strings.h>
#include <unistd.h>

constexpr int exit_failure = 1;
constexpr int exit_usage = 255;

constexpr char MapName[] = "Map.txt";
constexpr char ULLName[] = "ULL";
constexpr char SMART187Name[] = "SMART187";
constexpr char Logname[] = "Vandrel.log";
constexpr char VendorMapName[] = "vendor.csv";
constexpr char verbose_variable[] = "Vandrel_VERBOSE";
constexpr char verbose_flag_file[] = "/tmp/Vandrel_VERBOSE";
constexpr uint8_t reported_uncorrectable_errors = 187; /* the S.M.A.R.T. attribute that is checked */

namespace
{
struct run_paths {
    std::string ullname;
    std::string SMART187name;
    std::string versionname;
    std::string vendormapname;
};
} // namespace

/* Config.txt: what it says overrides the command line, except that it can't switch diagnostics off. */
static std::optional<config_pairs> apply_config(run_options *opts)
{
    std::optional<config_pairs> config = load_config_file(opts->reldir, "Config.txt");
    const char *setting = lookup_config(config, "verbose");
    if (setting && strcasecmp(setting, "yes") == 0) verbose |= 1;
    if (verbose && config) {
        fprintf(stderr, "Config.txt:\n");
        for (const config_pair &pair : *config)
            fprintf(stderr, "    %s = \"%s\"\n", pair.name.c_str(), pair.value.c_str());
    }
    if (const char *targets = lookup_config(config, "targets")) opts->targets = targets;
    return config;
}

static run_paths derive_paths(const run_options &opts)
{
    Log_path = build_pathname(opts.reldir, opts.targets ? "/tmp" : DataDir, Logname);
    FW_help_path = build_pathname(opts.reldir, ".", "Vandrel.help");
    SMART187_help_path = build_pathname(opts.reldir, ".", "SMART187.help");
    return {
        .ullname = build_pathname(opts.reldir, DataDir, ULLName),
        .SMART187name = build_pathname(opts.reldir, DataDir, SMART187Name),
        .versionname = build_pathname(opts.reldir, ".", "VERSION"),
        .vendormapname = build_pathname(opts.reldir, DataDir, VendorMapName),
    };
}

/* Makes the programs, libraries and files of the tree below -R's directory the ones that are found first.
 * Returns true, or false with a message. */
static bool move_into_tree(const char *pname, const run_paths &paths, run_options *opts)
{
    if (!extend_PATH(pname, *opts->reldir)) return false;
    if (!opts->M_opt || !opts->mapname.starts_with('/'))
        opts->mapname = prepend(*opts->reldir, opts->mapname);
    if (!extend_LD_LIBRARY_PATH(pname, *opts->reldir)) return false;
    if (!verbose) return true;
    show_new_variable(pname, "PATH");
    show_new_variable(pname, "LD_LIBRARY_PATH");
    fprintf(stderr, "new mapname=\"%s\"\n", opts->mapname.c_str());
    fprintf(stderr, "new versionname=\"%s\"\n", paths.versionname.c_str());
    fprintf(stderr, "new Log_path=\"%s\"\n", Log_path.c_str());
    fprintf(stderr, "new FW_help_path=\"%s\"\n", FW_help_path.c_str());
    fprintf(stderr, "new SMART187_help_path=\"%s\"\n", SMART187_help_path.c_str());
    return true;
}

/* Neither a listing nor an unattended update: somebody sits at the screen. */
static bool is_interactive(const run_options &opts)
{
    return !opts.targets && !opts.list_only;
}

static void choose_keyboard(const std::optional<config_pairs> &config, const run_options &opts)
{
    const char *keymap = lookup_config(config, "keymap");
    if (keymap && is_readable(keymap))
        load_keymap(keymap);
    else if (is_interactive(opts))
        select_keyboard(opts.reldir);
}

static void list_drives(GList *devlist, GList *fw_map)
{
    unsigned selected = 0;
    g_list_foreach(devlist, find_image, fw_map);
    g_list_foreach(devlist, count_selected, &selected);
    g_list_foreach(devlist, list_one_device, nullptr);
    g_list_foreach(devlist, reset_device_node, nullptr);
}

/* The maintenance tasks in their fixed order, with an operator at the screen. Returns their summary lines. */
static GList *run_interactive(GList *devlist, GList *fw_map, const run_options &opts, const run_paths &paths)
{
    GList *lines = nullptr;
    lines = g_list_append(lines, do_unload_load_cycles(devlist, paths.ullname.c_str(), opts.reldir));
    lines = g_list_append(lines, do_download_firmware(devlist, fw_map, opts.reldir, {}));
    return g_list_append(lines, do_SMART_check(devlist, paths.SMART187name.c_str(), opts.reldir,
                                               reported_uncorrectable_errors));
}

static void reload_if_selected(gpointer data, gpointer user_data)
{
    if (static_cast<const Dev *>(data)->selected) reload_fw_version(data, user_data);
}

/* The tasks of a run without an operator, and a result line for each drive that it attempted, also when the
 * run is asked to end meanwhile: it obeys once they are told. Returns the tasks' summary lines. */
static GList *run_unattended(GList *devlist, GList *fw_map, const run_options &opts, const run_paths &paths)
{
    GList *lines = g_list_append(nullptr, do_unload_load_cycles(devlist, paths.ullname.c_str(), opts.reldir));
    const hold_signals hold;
    lines = g_list_append(lines, do_download_firmware(devlist, fw_map, opts.reldir, opts.targets));
    /* A run that is to end asks nothing of drives that it has nothing to tell of. */
    g_list_foreach(devlist, hold_signals::is_pending() ? reload_if_selected : reload_fw_version, nullptr);
    g_list_foreach(devlist, list_one_download_status, nullptr);
    return lines;
}

using status_lines = list_ptr<free_one_status>;

/* Finds the drives, loads the map and does what the mode asks. Returns the tasks' summary lines, none of a
 * listing. */
static status_lines run_mode(const run_options &opts, const run_paths &paths)
{
    const list_ptr<free_one_dev> devlist(storelib::scan_devices_storelib(sgen::scan_devices_sgen(nullptr)));
    int map_errors = 0; /* reported line by line; bad lines don't stop a run */
    const list_ptr<free_one_map> fw_map(
        loadMap(opts.mapname.c_str(), &map_errors, opts.reldir, opts.nocheck ? nullptr : is_readable));

    if (opts.list_only) {
        list_drives(devlist.get(), fw_map.get());
        return nullptr;
    }
    return status_lines(opts.targets ? run_unattended(devlist.get(), fw_map.get(), opts, paths)
                                     : run_interactive(devlist.get(), fw_map.get(), opts, paths));
}

/* Runs one mode on the drives of both back-ends. Returns true when the operator wants the machine powered
 * off. */
static bool run(const run_options &opts, const run_paths &paths)
{
    vendormap = load_vendormap(paths.vendormapname.c_str());
    sgen::init_sgen(opts.reldir);
    storelib::init_storelib(opts.reldir, get_wb_mode);
    const status_lines lines = run_mode(opts, paths);
    sgen::exit_sgen();
    storelib::exit_storelib();
    g_list_free_full(vendormap, free_one_vendor);
    vendormap = nullptr;

    const bool powers_off = is_interactive(opts) && status_screen(lines.get()) != 0;
    obey_end_request();
    return powers_off;
}

static void show_versions(int count)
{
    fprintf(stderr, "Vandrel V%s\n", version.c_str());
    if (count >= 2) fprintf(stderr, "%s\n", source_revision);
}

/* What is no argument of a function, for every layer to read. */
static void apply_settings(const run_options &opts)
{
    const bool is_verbose = getenv(verbose_variable) || access(verbose_flag_file, F_OK) == 0;
    verbose = (is_verbose ? 1 : 0) + opts.verbose;
    show_all = opts.show_all;
    force_FW_update = opts.force_update;
    keep_script = opts.keep_script;
}

int main(int argc, char *argv[])
{
    if (!prepare_process()) return exit_failure;
    const char *pname = argc > 0 ? argv[0] : "vandrel";

    run_options opts = {};
    opts.mapname = std::string(DataDir) + "/" + MapName;
    if (parse_options(argc, argv, &opts) == parse_help_shown) return 0;
    apply_settings(opts);
    if (!valid_targets(opts.targets ? opts.targets->c_str() : nullptr)) ++opts.errors;
    if (opts.errors) return exit_usage;

    const std::optional<config_pairs> config = apply_config(&opts);
    const run_paths paths = derive_paths(opts);
    if (opts.reldir && !move_into_tree(pname, paths, &opts)) return exit_failure;
    if (opts.list_only && opts.targets) {
        fprintf(stderr, "%s: -l/--list and -T/--targets are mutually exclusive\n", pname);
        return exit_usage;
    }

    version = read_version(paths.versionname.c_str());
    if (opts.show_version) {
        show_versions(opts.show_version);
        return 0;
    }
    unique_fd lock; /* until the end */
    if (!opts.list_only && !take_run_lock(&lock)) return exit_failure;
    if (!verbose)
        redirect_diagnostics(data_path(opts.reldir, "Vandrel.stderr").c_str(), is_interactive(opts));
    choose_keyboard(config, opts);

    const bool powers_off = run(opts, paths);
    if (!is_interactive(opts) && (fflush(stdout) == EOF || ferror(stdout))) {
        perror("standard output");
        return exit_failure; /* a script must not take what it got for the whole */
    }
    if (!opts.reldir && powers_off) {
        fflush(nullptr);
        reset_signals();
        close_all_but_streams();
        execlp("init", "init", "0", nullptr);
    }
    return 0;
}
