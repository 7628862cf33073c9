#include "maplint/drives.h"

#include "base/settings.h"
#include "catalogue/match.h"
#include "device/dev.h"

#include <algorithm>
#include <cstdio>
#include <utility>

void check_repeated_rules(const std::vector<rule> &rules, findings *all)
{
    for (size_t i = 0; i < rules.size(); ++i)
        for (size_t j = rules.size(); --j > i;) {
            const Map &earlier = *rules[i].entry;
            const Map &later = *rules[j].entry;
            if (earlier.model_pattern_s != later.model_pattern_s || earlier.prev_rev_s != later.prev_rev_s)
                continue;
            /* The later rule leaves a drive alone that runs its new revision already. */
            const bool spares_some = is_endless(later) && later.new_rev_s != earlier.new_rev_s;
            const std::string but = " but over drives that run " + later.new_rev_s + " already";
            add_finding(all, rules[i].line, warning, "never wins%s: line %u has the same patterns",
                        spares_some ? but.c_str() : "", rules[j].line);
            break;
        }
}

/* Indexes of the rules that match the drive, in file order; the last one wins. */
static std::vector<size_t> matching_rules(const std::vector<rule> &rules,
                                          const rehearsal::drive_profile &profile)
{
    std::vector<size_t> matching;
    Dev dev = {};
    dev.model = profile.model;
    dev.rev = profile.rev;
    for (size_t i = 0; i < rules.size(); ++i) {
        dev.image = nullptr;
        find_one_image(rules[i].entry.get(), &dev);
        if (dev.image) matching.push_back(i);
    }
    return matching;
}

static void show_drive(const std::vector<rule> &rules, const rehearsal::drive_profile &profile,
                       const std::vector<size_t> &matching)
{
    printf("%s \"%s\" %s: ", profile.label().c_str(), profile.model.c_str(), profile.rev.c_str());
    if (matching.empty()) {
        printf("no line matches\n");
        return;
    }
    const rule &winner = rules[matching.back()];
    printf("line %u brings %s from %s", winner.line, winner.entry->new_rev_s.c_str(),
           last_component(winner.entry->pathname.c_str()));
    for (size_t i = 0; i + 1 < matching.size(); ++i)
        printf("%s%u", i == 0 ? ", overriding line " : ", ", rules[matching[i]].line);
    printf("\n");
}

/* Follows a drive from run to run. Rules may take it to its revision in steps, but not in a circle. */
static void check_circle(const std::vector<rule> &rules, rehearsal::drive_profile profile, findings *all)
{
    std::vector<std::string> seen = {profile.rev};
    for (;;) {
        const std::vector<size_t> matching = matching_rules(rules, profile);
        if (matching.empty()) return;
        const rule &winner = rules[matching.back()];
        const std::string before = std::exchange(profile.rev, winner.entry->new_rev_s);
        if (std::find(seen.begin(), seen.end(), profile.rev) == seen.end()) {
            seen.push_back(profile.rev);
            continue;
        }
        add_finding(all, winner.line, warning, "every run flashes anew: drives go from %s back to %s",
                    before.c_str(), profile.rev.c_str());
        return;
    }
}

void show_drives(const std::vector<rule> &rules, const std::vector<rehearsal::drive_profile> &drives,
                 findings *all)
{
    std::vector<unsigned> matches(rules.size());
    std::vector<unsigned> wins(rules.size());
    for (const rehearsal::drive_profile &profile : drives) {
        const std::vector<size_t> matching = matching_rules(rules, profile);
        show_drive(rules, profile, matching);
        for (const size_t i : matching)
            ++matches[i];
        if (!matching.empty()) ++wins[matching.back()];
        check_circle(rules, profile, all);
    }
    for (size_t i = 0; i < rules.size(); ++i)
        if (matches[i] > 0 && wins[i] == 0)
            add_finding(all, rules[i].line, warning,
                        "never wins: later lines override it for all %u drives it matches", matches[i]);
}
