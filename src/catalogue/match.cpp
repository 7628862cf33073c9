#include "catalogue/match.h"

#include "base/settings.h"
#include "catalogue/map.h"
#include "device/dev.h"

#include <cstdio>

/* An absent text matches nothing, not even a pattern that matches the empty one. */
static bool matches(const shared_regex &pattern, const text &t)
{
    return t && regexec(pattern.get(), t->c_str(), 0, nullptr, 0) == 0;
}

void find_one_image(gpointer data, gpointer user_data)
{
    const auto *entry = static_cast<const Map *>(data);
    auto *dev = static_cast<Dev *>(user_data);
    if (verbose)
        fprintf(stderr, "find_one_image(map:[%s,%s,%s], dev:[%s,%s])\n", entry->model_pattern_s.c_str(),
                entry->prev_rev_s.c_str(), entry->new_rev_s.c_str(), shown_on(stderr, dev->model).c_str(),
                shown_on(stderr, dev->rev).c_str());

    if (!dev->model || !may_match(entry->model_filter, *dev->model)) return;
    if (!matches(entry->model_pattern, dev->model) || !matches(entry->prev_rev, dev->rev)) return;
    if (*dev->rev == entry->new_rev_s && !force_FW_update) return;

    if (verbose)
        fprintf(stderr, "%s matches pattern %s\n", shown_on(stderr, dev->model).c_str(),
                entry->model_pattern_s.c_str());
    dev->image = entry->pathname.c_str();
    dev->target_rev = entry->new_rev_s;
    dev->selected = 1;
}

void find_image(gpointer data, gpointer user_data)
{
    auto *dev = static_cast<Dev *>(data);
    auto *map = static_cast<GList *>(user_data);
    if (verbose)
        fprintf(stderr, "find_image(dev=(V:%s M:%s R:%s), map=%p)\n", shown_on(stderr, dev->vendor).c_str(),
                shown_on(stderr, dev->model).c_str(), shown_on(stderr, dev->rev).c_str(),
                static_cast<void *>(map));
    dev->image = nullptr;
    dev->selected = 0;
    g_list_foreach(map, find_one_image, dev);
    if (verbose) fprintf(stderr, "find_image() done\n");
}
