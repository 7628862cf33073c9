/* controller_library.cpp - the shared object that a rehearsal places where the program looks for the
 * controllers' management library. One object is every variant: which one it is, its own path says. */
#include "rehearsal/controllers/controller_requests.h"
#include "rehearsal/kernel/real_function.h"

#include <algorithm>

using rehearsal::controller_library;

/* The file as the inventory names it, below the root; empty outside a rehearsal's root. */
static std::string own_file(const rehearsal::machine &m)
{
    static const char anything_in_here = 0;
    Dl_info info{};
    if (dladdr(&anything_in_here, &info) == 0 || !info.dli_fname) return {};
    std::string_view path = info.dli_fname;
    if (!path.starts_with(m.root_dir())) return {};
    path.remove_prefix(m.root_dir().size());
    path.remove_prefix(std::min(path.size(), path.find_first_not_of('/')));
    return std::string(path);
}

static uint32_t answer(std::string_view entry_point, _SL_LIB_CMD_PARAM_T *param)
{
    /* Released with the library: nothing of it may be left when the program has closed it. */
    static const auto m = rehearsal::read_machine();
    if (!m) return SL_ERR_INIT_FAILED;
    static controller_library library{*m, own_file(*m)};
    const unsigned type = rehearsal::library_type(library.file);
    if (type == 0 || entry_point != rehearsal::entry_point_of(type)) return SL_ERR_INIT_FAILED;
    return answer_library_request(library, *param);
}

REHEARSAL_EXPORT uint32_t ProcessLibCommand(_SL_LIB_CMD_PARAM_T *param)
{
    return answer(__func__, param);
}

REHEARSAL_EXPORT uint32_t ProcessLibCommandIR(_SL_LIB_CMD_PARAM_T *param)
{
    return answer(__func__, param);
}

REHEARSAL_EXPORT uint32_t ProcessLibCommandIR2(_SL_LIB_CMD_PARAM_T *param)
{
    return answer(__func__, param);
}

REHEARSAL_EXPORT uint32_t ProcessLibCommandIR3(_SL_LIB_CMD_PARAM_T *param)
{
    return answer(__func__, param);
}
