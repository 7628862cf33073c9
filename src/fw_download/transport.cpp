#include "fw_download/transport.h"

#include "fw_download/answer.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <scsi/sg_lib.h>
#include <scsi/sg_pt.h>

namespace fw_download
{

constexpr uint8_t op_ata_pass_through_16 = 0x85;
constexpr size_t sense_size = 252; /* the most that SPC lets a drive send */

struct free_request {
    void operator()(sg_pt_base *p) const { destruct_scsi_pt_obj(p); }
};
using request_ptr = std::unique_ptr<sg_pt_base, free_request>;

unique_fd open_node(const char *path)
{
    /* Without O_NONBLOCK the open would wait for whoever holds the node exclusively. */
    return unique_fd(open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC));
}

static answer read_answer(const sg_pt_base *request, int result, std::span<const uint8_t> sense)
{
    answer a;
    if (result < 0) a.error = -result;
    if (result > 0 && result != SCSI_PT_DO_TIMEOUT) a.error = EINVAL;
    if (a.error == 0) a.error = get_scsi_pt_os_err(request);
    a.is_lost =
        result == SCSI_PT_DO_TIMEOUT || get_scsi_pt_result_category(request) == SCSI_PT_RESULT_TRANSPORT_ERR;
    a.host_status = get_scsi_pt_transport_err(request);
    char text[512] = "";
    if (a.is_lost) get_scsi_pt_transport_err_str(request, sizeof text, text);
    a.host_text = text;
    a.status = get_scsi_pt_status_response(request);
    a.sense =
        sense.first(std::min(sense.size(), static_cast<size_t>(std::max(get_scsi_pt_sense_len(request), 0))));
    return a;
}

static size_t received_bytes(const sg_pt_base *request, size_t room)
{
    const int rest = get_scsi_pt_resid(request);
    return rest <= 0 ? room : room - std::min(room, static_cast<size_t>(rest));
}

static outcome send_to_node(void *handle, const command &c)
{
    const auto *n = static_cast<const node *>(handle);
    const request_ptr request(construct_scsi_pt_obj_with_fd(n->fd.get(), 0));
    if (!request) return judge({.error = ENOMEM});
    uint8_t sense[sense_size] = {};
    set_scsi_pt_cdb(request.get(), c.cdb.data(), c.cdb_len);
    set_scsi_pt_sense(request.get(), sense, sizeof sense);
    if (!c.in.empty()) set_scsi_pt_data_in(request.get(), c.in.data(), static_cast<int>(c.in.size()));
    if (!c.out.empty()) set_scsi_pt_data_out(request.get(), c.out.data(), static_cast<int>(c.out.size()));

    const int result = do_scsi_pt(request.get(), -1, c.timeout_s, 0);
    answer a = read_answer(request.get(), result, sense);
    a.is_ata = c.cdb[0] == op_ata_pass_through_16;
    outcome o = judge(a);
    if (n->wants_details && a.status == SAM_STAT_CHECK_CONDITION && a.error == 0)
        o.sense_text = decoded_sense(a.sense);
    /* What stands in the room after a failure is whatever the kernel's buffer held before. */
    if (o.is_taken()) o.received = received_bytes(request.get(), c.in.size());
    o.duration_ms = static_cast<unsigned>(std::max(get_scsi_pt_duration_ms(request.get()), 0));
    return o;
}

static int64_t clock_ms(void *)
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

static void pause_ms(void *, int ms)
{
    const timespec length = {.tv_sec = ms / 1000, .tv_nsec = ms % 1000 * 1000000L};
    nanosleep(&length, nullptr);
}

const wire node_wire = {.send = send_to_node, .now_ms = clock_ms, .pause = pause_ms};

} // namespace fw_download
