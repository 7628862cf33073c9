#include "fw_download/send.h"

#include <algorithm>
#include <csignal>
#include <unistd.h>

namespace fw_download
{

constexpr int64_t ms_per_s = 1000;
constexpr size_t tenths = 10;

/* While it lives every signal waits. To handle them would not do: the kernel gives up waiting for the node's
 * answer to run a handler, or to stop the program, and sends the segment again afterwards. */
class wait_with_signals
{
  public:
    wait_with_signals()
    {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_BLOCK, &all, &before_);
    }
    ~wait_with_signals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    wait_with_signals(const wait_with_signals &) = delete;
    wait_with_signals &operator=(const wait_with_signals &) = delete;

  private:
    sigset_t before_;
};

static bool has_time_for(const drive &d, const command &c, int64_t deadline_ms)
{
    return d.way->now_ms(d.handle) + c.timeout_s * ms_per_s <= deadline_ms;
}

/* Sends a command of the download; once more when a unit attention stood in front of it. */
static outcome deliver(const drive &d, const command &c, int64_t deadline_ms)
{
    if (!has_time_for(d, c, deadline_ms))
        return {.where = layer::host, .text = "ten minutes are nearly over, nothing more was sent"};
    outcome o = execute(d, c);
    return is_expected_attention(o) && has_time_for(d, c, deadline_ms) ? execute(d, c) : o;
}

/* On a terminal the line stands still and counts; a log gets a line for each tenth that is full. */
static void tell_progress(const console &con, size_t done, size_t total)
{
    if (isatty(con.out) == 1)
        say(con, "\rsegment %zu of %zu%s", done, total, done == total ? "\n" : "");
    else if (done * tenths / total != (done - 1) * tenths / total)
        say(con, "%zu %% sent, segment %zu of %zu\n", done * 100 / total, done, total);
}

static void tell_failure(const console &con, const attempt &a, size_t offset, size_t size, size_t total,
                         const outcome &o)
{
    /* The counting line of a terminal is still open. */
    if (offset > 0 && isatty(con.out) == 1) say(con, "\n");
    complain(con, "segment %zu of %zu (mode %02Xh, %zu bytes from %zu on): %s: %s", offset / a.segment + 1,
             total, a.mode, size, offset, layer_name(o.where), o.text.c_str());
}

enum class ending { taken, refused_at_once, failed };

static ending try_attempt(const drive &d, const attempt &a, std::span<const uint8_t> image,
                          int64_t deadline_ms)
{
    const size_t total = num_segments(a, image.size());
    for (size_t i = 0; i < total; ++i) {
        const size_t offset = i * a.segment;
        const auto segment = image.subspan(offset, std::min<size_t>(a.segment, image.size() - offset));
        command c = download_segment(a.by, a.mode, static_cast<uint32_t>(offset), segment);
        if (i + 1 == total) c.timeout_s = closing_seconds;
        const outcome o = deliver(d, c, deadline_ms);
        if (!o.is_taken()) {
            tell_failure(d.con, a, offset, segment.size(), total, o);
            return i == 0 && is_refusal(o) ? ending::refused_at_once : ending::failed;
        }
        tell_progress(d.con, i + 1, total);
    }
    if (!a.is_activated) return ending::taken;
    command c = activate_download(a.by);
    c.timeout_s = closing_seconds;
    const outcome o = deliver(d, c, INT64_MAX);
    if (o.is_taken()) return ending::taken;
    constexpr char later[] = "the drive may have stored the image and run it after the next power cycle";
    complain(d.con, "activation, after all %zu segments were taken: %s: %s; %s", total, layer_name(o.where),
             o.text.c_str(), later);
    return ending::failed;
}

bool send_image(const drive &d, std::span<const attempt> attempts, std::span<const uint8_t> image,
                int64_t deadline_ms)
{
    const wait_with_signals quiet;
    drive undisturbed = d;
    undisturbed.con.is_impatient = true;
    for (const attempt &a : attempts) {
        say(undisturbed.con, "%s\n", describe(a, image.size()).c_str());
        const ending e = try_attempt(undisturbed, a, image, deadline_ms);
        if (e != ending::refused_at_once) return e == ending::taken;
    }
    return false;
}

} // namespace fw_download
