#include "rehearsal/controllers/controller_requests.h"

#include "rehearsal/controllers/controller_passthrough.h"
#include "rehearsal/drive/drive_state.h"
#include "rehearsal/drive/scsi_commands.h"
#include "rehearsal/text/text.h"

#include <algorithm>
#include <cstring>

namespace rehearsal
{

constexpr uint32_t usual_pci = 0x1000005D;
constexpr uint8_t interface_sas = 2;
constexpr uint8_t interface_sata = 3;
constexpr uint32_t invalid_command = 0x8001; /* stands for all that nobody tells apart */

/* The drives that a request is about: all of the library, all of a controller, or one. */
using drives = std::vector<const drive_profile *>;

namespace
{
struct answer {
    uint32_t status = 0;
    std::vector<uint8_t> data; /* for the sender's buffer */
    std::string note;          /* for the log */
};

enum class scope { library, controller, drive };

struct request_kind {
    uint8_t type;
    uint8_t cmd;
    library_request name;
    scope about;
    uint32_t min_size; /* of the data buffer */

    bool is_pass_through() const { return type == SL_PASSTHRU_CMD_TYPE; }
};
} // namespace

// clang-format off
constexpr request_kind kinds[] = {
    /* type                cmd                 name                           about              min_size */
    {SL_SYSTEM_CMD_TYPE,   SL_INIT_LIB,        library_request::init,         scope::library,    sizeof(SL_CTRL_LIST_T)},
    {SL_SYSTEM_CMD_TYPE,   SL_EXIT_LIB,        library_request::exit,         scope::library,    0},
    {SL_CTRL_CMD_TYPE,     SL_GET_CTRL_INFO,   library_request::ctrl_info,    scope::controller, sizeof(_MR_CTRL_INFO)},
    {SL_CTRL_CMD_TYPE,     SL_GET_PD_LIST,     library_request::pd_list,      scope::controller, offsetof(_MR_PD_LIST, addr)},
    {SL_PD_CMD_TYPE,       SL_GET_PD_INFO,     library_request::pd_info,      scope::drive,      sizeof(_MR_PD_INFO)},
    {SL_PD_CMD_TYPE,       SL_START_LOCATE_PD, library_request::start_locate, scope::drive,      0},
    {SL_PD_CMD_TYPE,       SL_STOP_LOCATE_PD,  library_request::stop_locate,  scope::drive,      0},
    {SL_PASSTHRU_CMD_TYPE, SL_SCSI_PASSTHRU,   library_request::scsi,         scope::drive,      sizeof(_SL_SCSI_PASSTHRU_T)},
    {SL_PASSTHRU_CMD_TYPE, SL_STP_PASSTHRU,    library_request::stp,          scope::drive,      sizeof(_SL_STP_PASSTHRU_T)},
};
// clang-format on

template <typename record>
static std::vector<uint8_t> bytes_of(const record &r)
{
    const auto *const first = reinterpret_cast<const uint8_t *>(&r);
    return {first, first + sizeof r};
}

static drives subjects_of(const controller_library &library, scope about, const _SL_LIB_CMD_PARAM_T &param)
{
    drives found;
    for (const drive_profile &profile : library.m.drives) {
        if (!profile.is_behind_controller() || profile.library != library.file) continue;
        if (about != scope::library && controller_id(profile) != param.ctrlId) continue;
        if (about == scope::drive && profile.device_id != param.pdRef.deviceId) continue;
        found.push_back(&profile);
    }
    return found;
}

/* The library's complaint about a request, or 0. */
static uint32_t check_request(const controller_library &library, const request_kind &kind,
                              const drives &subjects, const _SL_LIB_CMD_PARAM_T &param)
{
    if (!library.is_started && kind.name != library_request::init) return SL_ERR_INIT_FAILED;
    if (kind.about != scope::library && subjects.empty()) {
        const bool has_controller = !subjects_of(library, scope::controller, param).empty();
        return has_controller ? MFI_STAT_DEVICE_NOT_FOUND : SL_ERR_INVALID_CTRL;
    }
    const bool has_room = param.dataSize >= kind.min_size && (param.pData || kind.min_size == 0);
    return has_room ? 0 : SL_ERR_BUFFER_TOO_SMALL;
}

/* What goes wrong with the request, in the order of the lines. */
static std::vector<const fault *> faults_of(const machine &m, library_request name, const drives &subjects)
{
    std::vector<const fault *> faults;
    for (const drive_profile *profile : subjects) {
        if (profile->faults_after != 0 && read_state(m, *profile).commands < profile->faults_after) continue;
        for (const fault &f : profile->faults)
            if (f.library == name) faults.push_back(&f);
    }
    return faults;
}

/* Those that a library knows of change its data as they change a drive's. */
static void change_data(const std::vector<const fault *> &faults, std::vector<uint8_t> &data)
{
    reply r;
    r.data = std::move(data);
    outcome ignored;
    for (const fault *f : faults)
        if (f->what->time == after_command_or_request) f->what->apply(*f, {}, r, ignored);
    data = std::move(r.data);
}

static void list_controllers(const drives &subjects, answer &a)
{
    std::vector<uint32_t> ids;
    for (const drive_profile *profile : subjects)
        if (std::find(ids.begin(), ids.end(), controller_id(*profile)) == ids.end())
            ids.push_back(controller_id(*profile));
    SL_CTRL_LIST_T list = {};
    list.count = static_cast<uint16_t>(ids.size());
    std::copy_n(ids.begin(), std::min(ids.size(), SL_MAX_CTRLS), list.ctrlId);
    a.data = bytes_of(list);
    a.note = format_text(" controllers=%zu", ids.size());
}

static void show_controller(const drives &subjects, answer &a)
{
    const uint32_t pci = subjects.front()->pci.value_or(usual_pci);
    _MR_CTRL_INFO info = {};
    info.pci.vendorId = static_cast<uint16_t>(pci >> 16);
    info.pci.deviceId = static_cast<uint16_t>(pci);
    a.data = bytes_of(info);
    a.note = format_text(" pci=%04x:%04x", info.pci.vendorId, info.pci.deviceId);
}

static void list_drives(const drives &subjects, answer &a)
{
    constexpr uint64_t first_sas_address = 0x5000000000000000;
    const size_t size = offsetof(_MR_PD_LIST, addr) + subjects.size() * sizeof(_MR_PD_ADDRESS);
    const uint32_t header[] = {static_cast<uint32_t>(size), static_cast<uint32_t>(subjects.size())};
    a.data = bytes_of(header);
    for (const drive_profile *profile : subjects) {
        _MR_PD_ADDRESS entry = {};
        entry.deviceId = static_cast<uint16_t>(profile->device_id);
        entry.enclDeviceId = static_cast<uint16_t>(profile->host);
        entry.slotNumber = static_cast<uint8_t>(profile->slot);
        entry.scsiDevType = static_cast<uint8_t>(profile->device_type);
        entry.connectedPorts = 1;
        entry.sasAddr[0] = first_sas_address + (profile->controller << 16 | profile->device_id);
        const std::vector<uint8_t> bytes = bytes_of(entry);
        a.data.insert(a.data.end(), bytes.begin(), bytes.end());
    }
    a.note = format_text(" drives=%zu", subjects.size());
}

/* Answer to an INQUIRY that the controller itself has sent, when it found the drive. */
static void copy_inquiry(const machine &m, const drive_profile &profile, std::span<const uint8_t> cdb,
                         std::span<uint8_t> dst)
{
    request req{};
    req.bytes = cdb;
    drive_state state = read_state(m, profile);
    const reply r = run_scsi_command(profile, state, req);
    std::copy_n(r.data.begin(), std::min(r.data.size(), dst.size()), dst.begin());
}

static void show_drive(const machine &m, const drive_profile &profile, answer &a)
{
    static constexpr uint8_t inquiry[] = {0x12, 0, 0, 0, 96, 0};
    static constexpr uint8_t inquiry_page_83[] = {0x12, 1, 0x83, 0, 64, 0};
    constexpr uint64_t raw_block = 512;
    _MR_PD_INFO info = {};
    info.ref = profile.device_id;
    copy_inquiry(m, profile, inquiry, info.inquiryData);
    copy_inquiry(m, profile, inquiry_page_83, info.vpdPage83);
    info.scsiDevType = static_cast<uint8_t>(profile.device_type);
    info.state[1] = static_cast<uint8_t>(
        profile.interface.value_or(profile.is_ata() ? interface_sata : interface_sas) << 4);
    info.rawSize = profile.blocks * profile.block_length / raw_block;
    info.enclDeviceId = static_cast<uint16_t>(profile.host);
    info.slotNumber = static_cast<uint8_t>(profile.slot);
    a.data = bytes_of(info);
}

static void answer_drive(const machine &m, library_request name, const drive_profile &profile,
                         bool is_refused, answer &a)
{
    if (name == library_request::scsi)
        a.status = pass_scsi(m, profile, a.data, is_refused, a.note);
    else if (name == library_request::stp)
        a.status = pass_ata(m, profile, a.data, is_refused, a.note);
    else if (is_gone(profile, read_state(m, profile)))
        a.status = MFI_STAT_DEVICE_NOT_FOUND;
    else if (name == library_request::pd_info)
        show_drive(m, profile, a);
}

/* Answers a request that is in order. Of a refused one that goes to a drive it only notes what was sent. */
static void answer_request(controller_library &library, library_request name, const drives &subjects,
                           bool is_refused, answer &a)
{
    switch (name) {
    case library_request::init:
        library.is_started = true;
        return list_controllers(subjects, a);
    case library_request::exit:
        library.is_started = false;
        return;
    case library_request::ctrl_info:
        return show_controller(subjects, a);
    case library_request::pd_list:
        return list_drives(subjects, a);
    default:
        return answer_drive(library.m, name, *subjects.front(), is_refused, a);
    }
}

static void log_request(const controller_library &library, const request_kind &kind, const drives &subjects,
                        const _SL_LIB_CMD_PARAM_T &param, const answer &a)
{
    std::string label = library.file;
    std::string text = name_of(kind.name);
    if (kind.about != scope::library) text += format_text(" id=%08x", param.ctrlId);
    if (kind.about == scope::drive) text += format_text(" device=%u", param.pdRef.deviceId);
    if (kind.name == library_request::init) text += format_text(" ext=%u", param.AppsSupportEXTConfig);
    text += format_text(" size=%u", param.dataSize) + a.note;
    if (a.status != 0)
        text += format_text(" library-status=%x", a.status);
    else if (!kind.is_pass_through())
        text += " ok"; /* of a command, the drive's own outcome stands in the note */
    if (!subjects.empty() && kind.about == scope::controller) label = subjects.front()->adapter;
    if (!subjects.empty() && kind.about == scope::drive) label = subjects.front()->label();
    log_event(library.m, label, text);
}

uint32_t answer_library_request(controller_library &library, _SL_LIB_CMD_PARAM_T &param)
{
    const auto *const kind = std::find_if(std::begin(kinds), std::end(kinds), [&](const request_kind &k) {
        return k.type == param.cmdType && k.cmd == param.cmd;
    });
    if (kind == std::end(kinds)) {
        log_event(library.m, library.file,
                  format_text("lib-unknown type=%u cmd=%u library-status=%x", param.cmdType, param.cmd,
                              invalid_command));
        return invalid_command;
    }
    const drives subjects = subjects_of(library, kind->about, param);
    const std::span<uint8_t> buffer(static_cast<uint8_t *>(param.pData), param.pData ? param.dataSize : 0);
    answer a;
    a.status = check_request(library, *kind, subjects, param);
    if (a.status == 0) {
        const auto faults = faults_of(library.m, kind->name, subjects);
        const auto refusal = std::find_if(faults.begin(), faults.end(),
                                          [](const fault *f) { return is_library_status(*f->what); });
        const bool is_refused = refusal != faults.end();
        if (kind->is_pass_through()) a.data.assign(buffer.begin(), buffer.end());
        if (!is_refused || kind->is_pass_through())
            answer_request(library, kind->name, subjects, is_refused, a);
        if (is_refused) a.status = static_cast<uint32_t>((*refusal)->number);
        change_data(faults, a.data);
        std::copy_n(a.data.begin(), std::min(a.data.size(), buffer.size()), buffer.begin());
    }
    log_request(library, *kind, subjects, param, a);
    return a.status;
}

} // namespace rehearsal
