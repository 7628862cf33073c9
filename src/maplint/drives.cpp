#include "maplint/drives.h"

#include "base/settings.h"
#include "catalogue/match.h"
#include "device/dev.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>
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

namespace
{
/* What a rule does to the drives of the inventory. */
struct rule_effect {
    unsigned matches = 0;
    unsigned wins = 0;
    std::set<std::string> vendors;
};
} // namespace

/* "2-4, 7", of the lines whose rules match no drive. */
static std::string idle_lines(const std::vector<rule> &rules, const std::vector<rule_effect> &effects)
{
    std::string lines;
    for (size_t i = 0; i < rules.size(); ++i) {
        if (effects[i].matches > 0) continue;
        const size_t first = i;
        while (i + 1 < rules.size() && effects[i + 1].matches == 0)
            ++i;
        lines += (lines.empty() ? "" : ", ") + std::to_string(rules[first].line);
        if (i > first) lines += "-" + std::to_string(rules[i].line);
    }
    return lines;
}

static void show_summary(const std::vector<rule> &rules, const std::vector<rule_effect> &effects,
                         size_t drives)
{
    unsigned updated = 0;
    for (const rule_effect &effect : effects)
        updated += effect.wins;
    printf("%zu drives: %u to be updated, %zu matched by no line", drives, updated, drives - updated);
    const std::string idle = idle_lines(rules, effects);
    if (!idle.empty()) printf("; lines that match no drive: %s", idle.c_str());
    printf("\n");
}

static bool has_ata_drives(const rule_effect &effect)
{
    return effect.vendors.contains("ATA");
}

static void check_effect(const rule &r, const rule_effect &effect, findings *all)
{
    constexpr uintmax_t ata_block = 512; /* DOWNLOAD MICROCODE counts in these */
    if (effect.matches > 0 && effect.wins == 0)
        add_finding(all, r.line, warning, "never wins: later lines override it for all %u drives it matches",
                    effect.matches);
    if (effect.vendors.size() > 1) {
        std::string vendors;
        for (const std::string &vendor : effect.vendors)
            vendors += (vendors.empty() ? "" : ", ") + vendor;
        add_finding(all, r.line, warning, "one image for drives of several vendors: %s", vendors.c_str());
    }
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(r.entry->pathname, error);
    constexpr uintmax_t max_ata = 65535 * ata_block; /* block numbers have 16 bits */
    constexpr uintmax_t max_scsi = uintmax_t{1} << 24;
    const uintmax_t most = has_ata_drives(effect) ? max_ata : max_scsi;
    if (!error && effect.matches > 0 && size > most)
        add_finding(all, r.line, warning, "the image has %ju bytes, more than the %ju that a drive takes",
                    size, most);
    if (!error && size % ata_block != 0 && has_ata_drives(effect))
        add_finding(all, r.line, warning,
                    "ATA drives can't take the image: its %ju bytes are no multiple of %ju", size, ata_block);
}

void show_drives(const std::vector<rule> &rules, const std::vector<rehearsal::drive_profile> &drives,
                 findings *all)
{
    std::vector<rule_effect> effects(rules.size());
    for (const rehearsal::drive_profile &profile : drives) {
        const std::vector<size_t> matching = matching_rules(rules, profile);
        show_drive(rules, profile, matching);
        for (const size_t i : matching) {
            ++effects[i].matches;
            effects[i].vendors.insert(profile.vendor);
        }
        if (!matching.empty()) ++effects[matching.back()].wins;
        check_circle(rules, profile, all);
    }
    for (size_t i = 0; i < rules.size(); ++i)
        check_effect(rules[i], effects[i], all);
    show_summary(rules, effects, drives.size());
}
