#include "rehearsal/profile/libraries.h"

#include <iterator>

namespace rehearsal
{

namespace
{
struct library_variant {
    std::string_view file;
    const char *entry_point;
};
} // namespace

constexpr library_variant variants[] = {
    {"libstorelib.so",     "ProcessLibCommand"   },
    {"libstorelibir.so",   "ProcessLibCommandIR" },
    {"libstorelibir-2.so", "ProcessLibCommandIR2"},
    {"libstorelibir-3.so", "ProcessLibCommandIR3"},
};

unsigned library_type(std::string_view path)
{
    const std::string_view file = path.substr(path.rfind('/') + 1);
    for (unsigned i = 0; i < std::size(variants); ++i)
        if (variants[i].file == file) return i + 1;
    return 0;
}

const char *entry_point_of(unsigned library_type)
{
    return variants[library_type - 1].entry_point;
}

uint32_t controller_id(const drive_profile &profile)
{
    return library_type(profile.library) << 24 | profile.controller;
}

} // namespace rehearsal
