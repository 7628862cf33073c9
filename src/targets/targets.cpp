#include "targets/targets.h"

#include "base/pattern.h"
#include "base/trace.h"
#include "device/dev.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

constexpr char all_targets[] = "ALL";

#define TARGET_ITEM "(sd[[:alpha:]]{1,2}|[[:digit:]]+),[[:digit:]]+,[[:digit:]]+"
constexpr char target_list_pattern[] = "^(" TARGET_ITEM ")(:(" TARGET_ITEM "))*$";
#undef TARGET_ITEM

int valid_targets(const char *s)
{
    if (!s || strcmp(s, all_targets) == 0) return 1;
    std::string error;
    const regex_ptr pattern = compile_pattern(target_list_pattern, REG_EXTENDED | REG_NOSUB, &error);
    if (!pattern) {
        say("Error in targets pattern: %s\n", error.c_str());
        return 0;
    }
    return regexec(pattern.get(), s, 0, nullptr, 0) == 0;
}

const char *next_target(const char *t)
{
    const char *separator = strchr(t, ':');
    return separator ? separator + 1 : nullptr;
}

/* Steps *t over the adapter of an item. A "*" takes the place of nothing: behind it as many characters are
 * stepped over unread as the drive's adapter has. */
static bool matches_adapter(const char **t, const std::string &adapter)
{
    if (**t == '*') {
        ++*t;
        *t += strnlen(*t, adapter.size());
        return true;
    }
    if (strncasecmp(*t, adapter.c_str(), adapter.size()) != 0) return false;
    *t += adapter.size();
    return true;
}

/* Steps *t over a number field of an item: "*" or exactly this number. */
static bool matches_number(const char **t, uint32_t number)
{
    if (**t == '*') {
        ++*t;
        return true;
    }
    if (!isdigit(static_cast<unsigned char>(**t))) return false;
    char *behind;
    const unsigned long long value = strtoull(*t, &behind, 10);
    *t = behind;
    return value == number;
}

static bool step_over(const char **t, char c)
{
    if (**t != c) return false;
    ++*t;
    return true;
}

/* Whether the item at *t names the drive. Leaves *t where reading ended: the search for the next item goes on
 * from there, so what an adapter wildcard stepped over is not looked at again. */
static bool matches_item(const char **t, const Dev *dev)
{
    if (!matches_adapter(t, dev->adapter.value_or("")) || !step_over(t, ',')) return false;
    if (!matches_number(t, dev->unit_host) || !step_over(t, ',')) return false;
    return matches_number(t, dev->slot_id) && (**t == ':' || **t == '\0');
}

void select_auto_target(gpointer data, gpointer user_data)
{
    auto *dev = static_cast<Dev *>(data);
    const auto *targets = static_cast<const char *>(user_data);
    if (!targets || !dev->image) return;
    if (strcmp(targets, all_targets) == 0) {
        dev->selected = 1;
        return;
    }
    dev->selected = 0;
    for (const char *t = targets; t && *t != '\0'; t = next_target(t)) {
        if (!matches_item(&t, dev)) continue;
        dev->selected = 1;
        return;
    }
}
