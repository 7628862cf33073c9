#include "fw_download/plan.h"

#include "base/text.h"

#include <algorithm>
#include <optional>

namespace fw_download
{

constexpr uint32_t usual_segment = 32 * 1024;
constexpr uint32_t max_whole_scsi = (1U << 24) - 1; /* PARAMETER LIST LENGTH has 24 bits */
constexpr uint32_t max_counted_blocks = 255; /* a translator may look at the low byte of the count only */
constexpr uint8_t max_boundary = 23;         /* of a 24-bit offset; FFh says that only offset 0 will do */
constexpr size_t max_attempts = 3;

static plan without_way(exit_status status, std::string reason)
{
    return {.attempts = {}, .status = status, .reason = std::move(reason)};
}

static bool carries(const node_limits &limits, size_t size)
{
    return limits.most == 0 || size <= limits.most;
}

/* The size of segments that begin on the drive's boundary: the usual one, less where the machine or the
 * drive's buffer does not take so much. Nothing when no segment fits. */
static std::optional<uint32_t> scsi_segment(const scsi_offer &offered, size_t image_size,
                                            const node_limits &limits)
{
    const uint8_t power = offered.boundary.value_or(0);
    uint32_t most = usual_segment;
    if (limits.sure != 0) most = std::min(most, limits.sure);
    if (image_size <= most) return static_cast<uint32_t>(image_size);
    if (power > max_boundary) return std::nullopt;
    const uint32_t boundary = 1U << power;
    if (boundary <= most) return most / boundary * boundary;
    if (limits.sure != 0 && boundary > limits.sure) return std::nullopt;
    return boundary;
}

static plan too_large(size_t image_size, size_t most)
{
    return without_way(
        exit_bad_image,
        format_text(command_size, "the image has %zu bytes, the drive takes %zu", image_size, most));
}

plan plan_scsi(const scsi_offer &offered, size_t image_size, const node_limits &limits)
{
    if (offered.offsets == offer::no && offered.whole == offer::no && offered.defer != offer::yes)
        return without_way(exit_no_download,
                           "the drive offers no mode of WRITE BUFFER that downloads and saves");
    const size_t most = offered.capacity != 0 ? offered.capacity : max_scsi_image;
    if (image_size > most) return too_large(image_size, most);
    plan p;
    p.attempts.reserve(max_attempts);
    const auto segment = scsi_segment(offered, image_size, limits);
    if (segment && offered.offsets != offer::no)
        p.attempts.push_back({carrier::write_buffer, mode_offsets_or_whole, *segment, false});
    else if (segment && offered.defer == offer::yes)
        p.attempts.push_back({carrier::write_buffer, mode_defer, *segment, offered.activate != offer::no});
    if (offered.whole != offer::no && image_size <= max_whole_scsi && carries(limits, image_size))
        p.attempts.push_back(
            {carrier::write_buffer, mode_whole_scsi, static_cast<uint32_t>(image_size), false});
    if (p.attempts.empty())
        return without_way(exit_bad_image,
                           "no segments of this image fit the drive's boundary and this machine, "
                           "and it is too large for one command");
    return p;
}

/* Blocks per segment, at best the usual number. The last segment keeps to the drive's minimum too, which
 * decides when the usual number leaves too little over. Nothing when no number does. */
static std::optional<uint32_t> ata_segment(const ata_offer &offered, uint32_t blocks,
                                           const node_limits &limits)
{
    const uint32_t least = std::max<uint32_t>(offered.min_blocks, 1);
    uint32_t most = std::max(max_counted_blocks, least);
    if (offered.max_blocks != 0) most = std::min<uint32_t>(most, offered.max_blocks);
    if (limits.sure != 0) most = std::min<uint32_t>(most, limits.sure / ata_block);
    if (least > most || blocks < least) return std::nullopt;

    const auto leaves_enough = [&](uint32_t n) { return blocks % n == 0 || blocks % n >= least; };
    const uint32_t usual = std::clamp<uint32_t>(usual_segment / ata_block, least, most);
    for (uint32_t n = usual; n >= least; --n)
        if (leaves_enough(n)) return std::min(n, blocks);
    for (uint32_t n = usual + 1; n <= most; ++n)
        if (leaves_enough(n)) return std::min(n, blocks);
    return std::nullopt;
}

static std::vector<attempt> ata_attempts(const ata_offer &offered, std::optional<uint32_t> segment_blocks)
{
    std::vector<attempt> attempts;
    attempts.reserve(max_attempts); /* with room for the caller's, too */
    if (!segment_blocks || !(offered.offsets || offered.defer)) return attempts;
    const download_mode mode = offered.offsets ? mode_offsets_ata : mode_defer;
    const auto size = static_cast<uint32_t>(*segment_blocks * ata_block);
    if (offered.has_dma) attempts.push_back({carrier::microcode_dma, mode, size, !offered.offsets});
    attempts.push_back({carrier::microcode_pio, mode, size, !offered.offsets});
    return attempts;
}

plan plan_ata(const ata_offer &offered, size_t image_size, const node_limits &limits)
{
    if (!offered.is_offered)
        return without_way(exit_no_download, "the drive does not offer DOWNLOAD MICROCODE");
    if (image_size % ata_block != 0)
        return without_way(exit_bad_image,
                           format_text(command_size,
                                       "the image has %zu bytes, an ATA drive takes multiples of %zu",
                                       image_size, ata_block));
    if (image_size > max_ata_image) return too_large(image_size, max_ata_image);
    const auto size = static_cast<uint32_t>(image_size), blocks = static_cast<uint32_t>(size / ata_block);
    plan p;
    p.attempts = ata_attempts(offered, ata_segment(offered, blocks, limits));
    if (carries(limits, image_size) && (!limits.has_own_translator || blocks <= max_counted_blocks))
        p.attempts.push_back({carrier::microcode_pio, mode_offsets_or_whole, size, false});
    if (!p.attempts.empty()) return p;
    return without_way(exit_bad_image,
                       format_text(command_size,
                                   "no segments of %u to %u blocks add up to the image's %u, and "
                                   "it is too large for one command",
                                   offered.min_blocks, offered.max_blocks, blocks));
}

size_t num_segments(const attempt &a, size_t image_size)
{
    return (image_size + a.segment - 1) / a.segment;
}

std::string describe(const attempt &a, size_t image_size)
{
    static const char *const names[] = {"WRITE BUFFER mode", "DOWNLOAD MICROCODE", "DOWNLOAD MICROCODE DMA"};
    const size_t n = num_segments(a, image_size);
    const std::string how = format_text(command_size, "%s %02Xh, ", names[static_cast<int>(a.by)], a.mode);
    if (n == 1)
        return how + format_text(command_size, "one command of %zu bytes", image_size) +
               (a.is_activated ? ", then activation" : "");
    return how + format_text(command_size, "%zu segments of %u bytes%s", n, a.segment,
                             a.is_activated ? ", then activation" : "");
}

} // namespace fw_download
