/* findings.h - what a map author should look at, a line each. */
#pragma once

#include "base/text.h"

#include <string>
#include <vector>

enum severity { warning, error };

constexpr unsigned whole_map = 0; /* the line of what is to be said of no single one */

struct finding {
    unsigned line; /* of the map, from 1 */
    severity level;
    std::string what;
    bool operator==(const finding &) const = default;
};
using findings = std::vector<finding>;

/* Adds a finding, printf-style. */
__attribute__((format(printf, 4, 5))) void add_finding(findings *all, unsigned line, severity level,
                                                       const char *fmt, ...);
