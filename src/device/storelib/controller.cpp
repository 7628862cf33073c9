#include "device/storelib/controller.h"

#include "base/files.h"
#include "base/settings.h"
#include "base/trace.h"

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <memory>

namespace storelib
{

namespace
{
struct library_variant {
    const char *soname;
    const char *entry_point;
};

struct close_library {
    void operator()(void *lib) const { dlclose(lib); }
};
using library_ptr = std::unique_ptr<void, close_library>;

struct loaded_library {
    library_ptr lib; /* null: none of this variant is installed */
    ProcessLibCommandFunc call;
};
} // namespace

static const library_variant variants[] = {
    {"libstorelib.so",     "ProcessLibCommand"   },
    {"libstorelibir.so",   "ProcessLibCommandIR" },
    {"libstorelibir-2.so", "ProcessLibCommandIR2"},
    {"libstorelibir-3.so", "ProcessLibCommandIR3"},
};
static const char *const library_dirs[] = {"lib64", "usr/lib64", "usr/local/lib64"};

static void unload_lib_and_free_controller(gpointer data);

/* One that is not empty also says that the libraries are loaded. */
static list_ptr<unload_lib_and_free_controller> controllers;

GList *known_controllers()
{
    return controllers.get();
}

/* Opens one library file and looks its entry point up. Returns no library when either fails. */
static loaded_library open_library(const std::string &path, const library_variant &variant)
{
    trace("    Trying \"%s\"\n", path.c_str());
    library_ptr lib(dlopen(path.c_str(), RTLD_LAZY));
    if (!lib) {
        trace("\t%s\n", dlerror());
        return {};
    }
    trace("\tTrying to find %s in %s\n", variant.entry_point, variant.soname);
    void *entry = dlsym(lib.get(), variant.entry_point);
    if (!entry) {
        if (verbose) {
            const char *error = dlerror(); /* none when the symbol is there and its address is null */
            say("\t    %s\n", error ? error : "(null)");
        }
        return {};
    }
    trace("\t    Success!\n");
    return {std::move(lib), reinterpret_cast<ProcessLibCommandFunc>(entry)};
}

static loaded_library find_library(const char *root, const library_variant &variant)
{
    trace("Looking for %s\n", variant.soname);
    for (const char *dir : library_dirs) {
        const std::string path = format_text(path_size, "%s/%s/%s", root, dir, variant.soname);
        loaded_library found = open_library(path, variant);
        if (!found.lib) continue;
        trace("Using \"%s\" for %s\n", path.c_str(), variant.soname);
        return found;
    }
    return {};
}

static void report_init_failure(uint32_t rval, const library_variant &variant)
{
    switch (rval) {
    case SL_ERR_INIT_FAILED:
        say("%s::%s failed, INIT failed\n", variant.soname, variant.entry_point);
        break;
    case SL_ERR_BUFFER_TOO_SMALL:
        say("%s::%s: The data size did not match the minimum buffer size required by the command\n",
            variant.soname, variant.entry_point);
        break;
    case SL_ERR_NO_LIBSYSFS:
        say("%s failed: %s not found\n", variant.entry_point, "libsysfs.so.2.0.1");
        break;
    case SL_ERR_ACCESS_LEVEL:
        say("User Access level incorrect, administrator privilege required; rval = 0x%X\n", rval);
        break;
    case SL_ERR_NO_LIBPCI:
        say("%s failed: %s not found\n", variant.entry_point, "libpci.so.2.2.8");
        break;
    default:
        say("%s failed, rval = 0x%X\n", variant.entry_point, rval);
    }
}

/* Sends a command of the system type with the controller list, which may be null, as its data. */
static uint32_t system_command(ProcessLibCommandFunc call, uint8_t cmd, SL_CTRL_LIST_T *list)
{
    _SL_LIB_CMD_PARAM_T request = {};
    request.cmdType = SL_SYSTEM_CMD_TYPE;
    request.cmd = cmd;
    if (cmd == SL_INIT_LIB) request.AppsSupportEXTConfig = 1;
    request.dataSize = list ? sizeof *list : 0;
    request.pData = list;
    return call(&request);
}

/* Asks for one controller. Returns its record, owned by the caller, or null after a message. */
static controller *read_controller(const loaded_library &library, uint32_t ctrlId, const char *soname,
                                   find_download_mode *find_mode)
{
    _MR_CTRL_INFO ctrl_info = {};
    _SL_LIB_CMD_PARAM_T request = {};
    request.cmdType = SL_CTRL_CMD_TYPE;
    request.cmd = SL_GET_CTRL_INFO;
    request.ctrlId = ctrlId;
    request.dataSize = sizeof ctrl_info;
    request.pData = &ctrl_info;
    const uint32_t rval = library.call(&request);
    if (rval == SL_ERR_INVALID_CTRL) {
        say("Invalid controller %u\n", ctrlId);
        return nullptr;
    }
    if (rval != 0) {
        say("%s: ProcessLibCommandCall(SL_GET_CTRL_INFO) failed, rval = 0x%X\n", "init_storelib", rval);
        return nullptr;
    }
    return new controller{
        .ctrlId = ctrlId,
        .ProcessLibCommand = library.call,
        .num_drives = 0,
        .pci_vendor_id = ctrl_info.pci.vendorId,
        .pci_device_id = ctrl_info.pci.deviceId,
        .soname = soname,
        .lib = nullptr,
        .find_mode = find_mode,
    };
}

/* Starts a library and records its controllers. The first of them owns the library; a library that fails or
 * has no controllers is closed again, one whose controllers all failed stays open until the program ends. */
static void record_controllers(loaded_library *library, const library_variant &variant,
                               find_download_mode *find_mode)
{
    SL_CTRL_LIST_T list = {};
    const uint32_t rval = system_command(library->call, SL_INIT_LIB, &list);
    if (rval != 0) {
        report_init_failure(rval, variant);
        return;
    }
    trace("%s found %u controllers\n", variant.soname, list.count);
    if (list.count == 0) {
        system_command(library->call, SL_EXIT_LIB, &list);
        return;
    }
    const size_t count = std::min<size_t>(list.count, SL_MAX_CTRLS);
    void *unowned = library->lib.release();
    for (size_t i = 0; i < count; ++i) {
        controller *ctrl = read_controller(*library, list.ctrlId[i], variant.soname, find_mode);
        if (!ctrl) continue;
        ctrl->lib = unowned;
        unowned = nullptr;
        controllers.reset(g_list_append(controllers.release(), ctrl));
    }
}

static void show_controller(gpointer data, gpointer)
{
    const auto *ctrl = static_cast<const controller *>(data);
    say("ctrlId=%#x\n", ctrl->ctrlId);
    say("    PCI_ID=%04x:%04x\n", ctrl->pci_vendor_id, ctrl->pci_device_id);
    say("    ProcessLibCommand=%p\n", reinterpret_cast<const void *>(ctrl->ProcessLibCommand));
    say("    num_drives=%u\n", ctrl->num_drives);
    say("    soname=\"%s\"\n", ctrl->soname);
}

void init_storelib(const text &reldir, find_download_mode *find_mode)
{
    if (controllers) return;
    /* Several variants may serve different controller families side by side: all are tried. */
    for (const library_variant &variant : variants) {
        loaded_library library = find_library(root_of(reldir), variant);
        if (library.lib) record_controllers(&library, variant, find_mode);
    }
    if (!verbose) return;
    say("%s found %u controllers\n", "init_storelib", g_list_length(controllers.get()));
    g_list_foreach(controllers.get(), show_controller, nullptr);
}

static void unload_lib_and_free_controller(gpointer data)
{
    auto *ctrl = static_cast<controller *>(data);
    if (ctrl->lib) {
        say("Unloading %s\n", ctrl->soname);
        system_command(ctrl->ProcessLibCommand, SL_EXIT_LIB, nullptr);
        dlclose(ctrl->lib);
    }
    delete ctrl;
}

void exit_storelib()
{
    controllers.reset();
}

} // namespace storelib
