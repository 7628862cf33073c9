#include "core/keyboard.h"

#include "base/files.h"
#include "base/shell.h"
#include "base/signals.h"
#include "ui/menu.h"

#include <cstdio>
#include <ftw.h>

constexpr int max_open_dirs = 10;
constexpr size_t shown_name_size = 64;
constexpr char keymap_suffix[] = ".map.gz";

struct keymap {
    std::string mapname; /* the file's name without its suffix */
    std::string path;
};

/* The keymaps found, ascending by name; filled through ftw, which passes no pointer on. */
static GList *keymapping;

void load_keymap(const char *path)
{
    const std::string command = format_text(command_size, "loadkeys %s", path);
    fprintf(stderr, "%s\n", command.c_str());
    run_in_shell(command.c_str());
}

static gint compare_mappings(gconstpointer a, gconstpointer b)
{
    return static_cast<const keymap *>(a)->mapname.compare(static_cast<const keymap *>(b)->mapname);
}

static int add_keymap(const char *fpath, const struct stat *, int typeflag)
{
    constexpr size_t suffix_len = sizeof keymap_suffix - 1;
    if (typeflag != FTW_F) return 0;
    const std::string name = last_component(fpath);
    if (name.size() <= suffix_len || !name.ends_with(keymap_suffix)) return 0;

    auto *found = new keymap;
    found->mapname = name.substr(0, name.size() - suffix_len);
    found->path = fpath;
    keymapping = g_list_insert_sorted(keymapping, found, compare_mappings);
    return 0;
}

static const char *format_keymapping(gpointer data, short *colorp)
{
    static char name[shown_name_size];
    if (!data) return "Mapping         ";
    snprintf(name, sizeof name, "%s", static_cast<const keymap *>(data)->mapname.c_str());
    if (colorp) *colorp = 0;
    return name;
}

/* Every keymap is shown. */
static gint allways(gconstpointer, gconstpointer)
{
    return 0;
}

static int set_keymap(GList *, gpointer node_data)
{
    load_keymap(static_cast<const keymap *>(node_data)->path.c_str());
    return 2;
}

static void free_one_keymap(gpointer data)
{
    delete static_cast<keymap *>(data);
}

void select_keyboard(const text &reldir)
{
    static const action actions[] = {
        {'g',  set_keymap},
        {'\r', set_keymap},
        {'\n', set_keymap},
        {0,    nullptr   },
    };
    const char *root = root_of(reldir);
    const std::string keymaps = format_text(path_size, "%s/lib/kbd/keymaps/i386", root);
    ftw(keymaps.c_str(), add_keymap, max_open_dirs); /* a missing tree is as good as an empty one */

    const std::string help_file = format_text(path_size, "%s/Keyboard.help", root);
    menu("Select keyboard mapping", keymapping, format_keymapping, allways, actions, help_file.c_str());
    g_list_free_full(keymapping, free_one_keymap);
    keymapping = nullptr;
    obey_end_request();
}
