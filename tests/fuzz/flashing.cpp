/* flashing.cpp - target for what a drive answers the flashing tool. */
#include "device/bytes.h"
#include "input.h"

#include "fw_download/after.h"
#include "fw_download/answer.h"
#include "fw_download/send.h"

#include <algorithm>
#include <cstring>
#include <map>

using namespace fw_download;

/* Every answer is made from the fuzzer's bytes: a status byte (0: all went well), sense data, data. */
struct fuzzed_drive {
    input *in;
    int64_t now_ms = 0;
    size_t next = 0;     /* the byte of the image that must come next */
    size_t commands = 0; /* of a download */
    int way = -1;        /* operation code and mode of the segment that was taken last; -1: none was */
};

static constexpr int64_t all_ms = 600'000;

static const std::vector<uint8_t> &whole_image()
{
    static std::vector<uint8_t> image(1 << 18);
    return image;
}

static outcome fuzzed_answer(fuzzed_drive *d, std::span<uint8_t> room)
{
    answer a;
    uint8_t sense[32];
    memset(sense, 0, sizeof sense);
    const uint32_t kind = d->in->number(1);
    a.error = kind == 1 ? ENODEV : 0;
    a.is_lost = kind == 2;
    a.host_status = static_cast<int>(kind >> 4);
    a.is_ata = (kind & 1) != 0;
    a.status = kind > 2 ? static_cast<int>(kind & 0x0A) : 0;
    if (kind > 2) d->in->take(sense, sizeof sense);
    a.sense = std::span(sense).first(kind % (sizeof sense + 1));
    outcome o = judge(a);
    assert(o.is_taken() || !decoded_sense(a.sense).empty());
    o.received = std::min<size_t>(d->in->number(2), room.size());
    d->in->take(room.data(), o.received);
    return o;
}

/* A segment must be the next one, of the image's own bytes, and by the way that the last one was taken. */
static void check_segment(fuzzed_drive *d, const command &c)
{
    const std::vector<uint8_t> &image = whole_image();
    const int way = c.cdb[0] == 0x3B ? 0x3B00 | c.cdb[1] : c.cdb[14] << 8 | c.cdb[4];
    assert(d->way == -1 || d->way == way);
    const auto at = static_cast<size_t>(c.out.data() - image.data());
    assert(at == d->next && at + c.out.size() <= image.size() && !c.out.empty());
    const bool is_scsi = c.cdb[0] == 0x3B;
    const size_t offset = is_scsi ? get_be(&c.cdb[3], 3) : 512 * (c.cdb[10] + 256U * c.cdb[12]);
    const size_t size = is_scsi ? get_be(&c.cdb[6], 3) : 512 * (c.cdb[6] + 256U * c.cdb[8]);
    assert(offset == at && size == c.out.size());
    assert(c.timeout_s >= 60 && d->now_ms + c.timeout_s * 1000 <= all_ms);
}

static outcome fuzzed_send(void *handle, const command &c)
{
    auto *d = static_cast<fuzzed_drive *>(handle);
    if (!c.out.empty()) check_segment(d, c);
    const outcome o = fuzzed_answer(d, c.in);
    d->now_ms += d->in->number(2) % c.timeout_s * 1000; /* no command outlasts its time limit */
    if (!c.out.empty() && o.is_taken()) {
        d->next += c.out.size();
        d->way = c.cdb[0] == 0x3B ? 0x3B00 | c.cdb[1] : c.cdb[14] << 8 | c.cdb[4];
    }
    return o;
}

static const wire fuzzed_wire = {
    .send = fuzzed_send,
    .now_ms = [](void *handle) { return static_cast<fuzzed_drive *>(handle)->now_ms; },
    .pause = [](void *handle, int ms) { static_cast<fuzzed_drive *>(handle)->now_ms += ms; },
};

void flashing(input &in)
{
    fuzzed_drive f = {.in = &in};
    const drive d = {
        .way = &fuzzed_wire, .handle = &f, .con = {.out = -1, .err = -1, .debug = 3}
    };
    const size_t size = std::min<size_t>(in.number(3) + size_t{1}, whole_image().size());
    const node_limits limits = {.sure = in.number(4), .most = in.number(4)};
    const auto id = ask_identity(d);
    if (!id) return;
    const auto data = is_translated(d, *id) ? ask_identify(d) : std::nullopt;
    const plan p =
        data ? plan_ata(ask_ata_offer(d, *data), size, limits) : plan_scsi(ask_scsi_offer(d), size, limits);
    assert(p.attempts.empty() == (p.status != exit_done) && p.attempts.empty() == !p.reason.empty());
    for (const attempt &a : p.attempts) {
        assert(a.segment > 0 && a.segment <= size && !describe(a, size).empty());
        assert(a.by == carrier::write_buffer || (a.segment % ata_block == 0 && size % ata_block == 0));
    }
    f.now_ms = 0;
    if (!send_image(d, p.attempts, std::span(whole_image()).first(size), all_ms)) return;
    assert(f.next == size);
    tell_new_revision(d, data.has_value(), "0001", all_ms);
    assert(f.now_ms <= all_ms + 2000);
}
