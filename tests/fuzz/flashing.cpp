/* flashing.cpp - target for what a drive answers the flashing tool, and how long it takes to. */
#include "input.h"

#include "device/bytes.h"
#include "fw_download/after.h"
#include "fw_download/answer.h"
#include "fw_download/examine.h"
#include "fw_download/send.h"

#include <cerrno>

using namespace fw_download;

static constexpr int64_t all_ms = 600'000;
static constexpr size_t max_image = 1 << 18;

/* Answers with the fuzzer's bytes, and remembers what it told of its limits. */
struct fuzzed_drive {
    input *in;
    std::span<const uint8_t> image;
    node_limits limits;
    int64_t now_ms = 0;
    size_t next = 0; /* the byte of the image that must come next */
    int way = -1;    /* operation code and mode of the segment that was taken last; -1: none was */
    bool is_over = false;
    size_t boundary = 1; /* of offsets, in bytes */
    size_t max_segment = SIZE_MAX;
};

static outcome fuzzed_outcome(input *in)
{
    answer a;
    uint8_t sense[32] = {};
    const uint32_t kind = in->number(1); /* 0: all went well */
    a.error = kind == 1 ? ENODEV : 0;
    a.is_lost = kind == 2;
    a.host_status = static_cast<int>(kind >> 4);
    a.is_ata = (kind & 1) != 0;
    a.status = kind > 2 ? static_cast<int>(kind & 0x0A) : 0;
    if (kind > 2) in->take(sense, sizeof sense);
    a.sense = std::span(sense).first(kind % (sizeof sense + 1));
    outcome o = judge(a);
    assert(o.is_taken() || !decoded_sense(a.sense).empty());
    return o;
}

/* Words 234 and 235 of IDENTIFY data and the descriptor of READ BUFFER are what segments have to obey. */
static void remember_limits(fuzzed_drive *d, const command &c)
{
    if (c.cdb[0] == 0x3C) d->boundary = c.in[0] < 24 ? size_t{1} << c.in[0] : max_image;
    if (c.cdb[0] != 0x85 || c.cdb[14] != 0xEC) return;
    const size_t most = c.in[470] + 256U * c.in[471];
    d->max_segment = most == 0 || most == 0xFFFF ? SIZE_MAX : most * ata_block;
}

/* The image's own next bytes, by the way that was taken before, and within all limits. */
static void check_segment(fuzzed_drive *d, const command &c, int way, size_t offset, size_t size)
{
    assert(!d->is_over && (d->way == -1 || d->way == way));
    assert(offset == d->next && c.out.data() == d->image.data() + offset && size == c.out.size());
    assert(size > 0 && offset + size <= d->image.size());
    const bool is_whole = way == 0x3B05 || way == 0x9207;
    const uint32_t most = is_whole ? d->limits.most : d->limits.sure;
    assert(most == 0 || size <= most);
    assert(way != 0x9207 || !d->limits.has_own_translator || size <= 255 * ata_block);
    assert(is_whole ? offset == 0 : size <= d->max_segment && offset % d->boundary == 0);
    assert(d->now_ms + int64_t{c.timeout_s} * 1000 <= all_ms); /* or it would be aborted while it writes */
}

/* Of a download command; -1 of any other. */
static int way_of(const command &c)
{
    if (c.cdb[0] == 0x3B) return 0x3B00 | c.cdb[1];
    return c.cdb[0] == 0x85 && (c.cdb[14] & 0xFE) == 0x92 ? c.cdb[14] << 8 | c.cdb[4] : -1;
}

static outcome fuzzed_send(void *handle, const command &c)
{
    auto *d = static_cast<fuzzed_drive *>(handle);
    assert(c.timeout_s == 60 || c.timeout_s == 300);
    const int way = way_of(c);
    const bool is_scsi = c.cdb[0] == 0x3B;
    if (!c.out.empty())
        check_segment(d, c, way, is_scsi ? get_be(&c.cdb[3], 3) : ata_block * (c.cdb[10] + 256U * c.cdb[12]),
                      is_scsi ? get_be(&c.cdb[6], 3) : ata_block * (c.cdb[6] + 256U * c.cdb[8]));
    else
        assert(way == -1 || ((way & 0xFF) == 0x0F && d->next == d->image.size() && !d->is_over));
    d->now_ms += std::min<int64_t>(int64_t{d->in->number(1)} * 500, int64_t{c.timeout_s} * 1000);
    outcome o = fuzzed_outcome(d->in);
    o.received = std::min<size_t>(d->in->number(2), c.in.size());
    d->in->take(c.in.data(), o.received);
    if (o.is_taken() && o.received == c.in.size()) remember_limits(d, c);
    if (way != -1 && o.is_taken()) d->way = way;
    if (o.is_taken()) d->next += c.out.size();
    /* Only what says that nothing was carried out may be followed by another download command. */
    if (way != -1 && !o.is_taken()) d->is_over = !is_expected_attention(o) && (!is_refusal(o) || d->next > 0);
    return o;
}

static const wire fuzzed_wire = {
    .send = fuzzed_send,
    .now_ms = [](void *handle) { return static_cast<fuzzed_drive *>(handle)->now_ms; },
    .pause = [](void *handle, int ms) { static_cast<fuzzed_drive *>(handle)->now_ms += ms; },
};

void flashing(input &in)
{
    static const std::vector<uint8_t> image(max_image);
    const size_t size = std::min<size_t>(in.number(3) + size_t{1}, max_image);
    const uint32_t sure = in.number(4), most = in.number(4), flags = in.number(1);
    const node_limits limits = {.sure = sure, .most = most, .has_own_translator = (flags & 4) != 0};
    const int debug = static_cast<int>(flags & 3); /* details cost most of the time */
    fuzzed_drive f = {.in = &in, .image = std::span(image).first(size), .limits = limits};
    const drive d = {
        .way = &fuzzed_wire, .handle = &f, .con = {.out = -1, .err = -1, .debug = debug}
    };
    findings found;
    if (examine(d, "drive", size, limits, &found) != exit_done) {
        assert(f.next == 0 && f.way == -1);
        return;
    }
    assert(!found.way.attempts.empty());
    f.now_ms = 0; /* the ten minutes begin with the first segment */
    const bool is_taken = send_image(d, found.way.attempts, f.image, all_ms);
    assert(!is_taken || f.next == size);
    if (is_taken) tell_new_revision(d, found.is_ata, found.revision, all_ms);
}
