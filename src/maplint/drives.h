/* drives.h - what the rules of a map do to the drives of an inventory. */
#pragma once

#include "maplint/rules.h"
#include "rehearsal/inventory/inventory.h"

/* Prints for every drive which rule wins, which ones it overrides, or that none matches, and a summary. Adds
 * a warning for each rule that matches drives and never wins, that has one image for several vendors' drives
 * or one that its ATA drives can't take, and for each that closes a circle of updates. */
void show_drives(const std::vector<rule> &rules, const std::vector<rehearsal::drive_profile> &drives,
                 findings *all);

/* Adds a warning for each rule that a later one with the same patterns always overrides. */
void check_repeated_rules(const std::vector<rule> &rules, findings *all);
