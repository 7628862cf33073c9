#include "scripted.h"

#include "helpers.h"

#include <algorithm>
#include <cerrno>

const outcome refused = {1, 0, 0, 0, bytes("70 00 05 00 00 00 00 0a 00 00 00 00 20 00")};

static std::string text_of(const sg_io_hdr &hdr)
{
    const bool is_out = hdr.dxfer_direction == SG_DXFER_TO_DEV;
    const char *direction = is_out ? "out " : hdr.dxfer_direction == SG_DXFER_FROM_DEV ? "in " : "none ";
    return direction + hex(hdr.cmdp, hdr.cmd_len) + " [" + std::to_string(hdr.dxfer_len) + "]" +
           (is_out ? " " + hex(hdr.dxferp, hdr.dxfer_len) : "");
}

static void reply(const fake_drive::exchange &next, void *room, size_t size)
{
    std::copy_n(next.reply.data(), std::min(next.reply.size(), size), static_cast<char *>(room) + next.at);
}

fake_drive::fake_drive(char interface) : dev(fake_dev(interface))
{
    answer_sg_io = [this](sg_io_hdr *hdr) {
        const exchange next = receive(text_of(*hdr));
        reply(next, hdr->dxferp, hdr->dxfer_len);
        std::copy_n(next.end.sense.data(), next.end.sense.size(), hdr->sbp);
        hdr->sb_len_wr = static_cast<unsigned char>(next.end.sense.size());
        hdr->masked_status = next.end.masked_status;
        hdr->driver_status = next.end.driver_status;
        hdr->host_status = next.end.host_status;
        hdr->duration = 21;
        return next.end.error;
    };
    answer_library = [this](_SL_LIB_CMD_PARAM_T *param) {
        const exchange next = receive(hex(param, 32) + ": " + hex(param->pData, param->dataSize));
        reply(next, param->pData, param->dataSize - next.at);
        return static_cast<uint32_t>(next.end.error);
    };
}

fake_drive::~fake_drive()
{
    for (const exchange &missing : expected)
        ADD_FAILURE() << "never sent: " << missing.command;
}

void fake_drive::expect(const std::string &command, const std::string &reply, const outcome &end, size_t at)
{
    expected.push_back({command, reply, end, at});
}

fake_drive::exchange fake_drive::receive(const std::string &command)
{
    if (expected.empty()) expect("nothing", "", {.error = EIO});
    const exchange next = expected.front();
    expected.pop_front();
    EXPECT_EQ(command, next.command);
    return next;
}
