/* The flashing tool over a drive that answers what a row says and keeps what it was sent. */
#include "fw_download/after.h"
#include "fw_download/answer.h"
#include "fw_download/send.h"

#include "base/handles.h"
#include "base/text.h"

#include "helpers.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <unistd.h>

using namespace fw_download;
using strings = std::vector<std::string>;

static outcome refusal(uint8_t key, uint8_t asc, bool is_abort = false)
{
    return {.where = layer::drive, .sense_key = key, .asc = asc, .is_abort = is_abort};
}

/* Answers the n-th command (0-based) as told, every other one with success and whatever data are left. */
struct scripted_drive {
    std::map<size_t, outcome> answers;
    std::map<size_t, std::string> data; /* hexadecimal; what a question is answered with */
    int64_t ms_per_command = 0;
    int64_t now_ms = 0;
    strings log = {};       /* command block, size of what was sent if anything, time limit */
    std::string taken = {}; /* of the attempt that began last */
    size_t pauses = 0;
    bool was_quiet = true; /* signals waited in each command */

    drive connect()
    {
        return {
            &way, this, {.out = null, .err = null}
        };
    }

    static outcome send(void *handle, const command &c)
    {
        auto *d = static_cast<scripted_drive *>(handle);
        sigset_t blocked;
        sigprocmask(SIG_BLOCK, nullptr, &blocked);
        for (const int s : {SIGINT, SIGTERM, SIGHUP, SIGTSTP, SIGTTOU, SIGUSR1})
            d->was_quiet &= sigismember(&blocked, s) == 1;
        const size_t n = d->log.size();
        d->log.push_back(hex(c.cdb.data(), c.cdb_len) +
                         (c.out.empty() ? "" : " <" + std::to_string(c.out.size())) + " " +
                         std::to_string(c.timeout_s) + "s");
        d->now_ms += d->ms_per_command;
        outcome o = d->answers.count(n) ? d->answers[n] : outcome{};
        if (o.is_taken()) d->taken.append(c.out.begin(), c.out.end());
        const std::string answer = bytes(d->data[n]);
        o.received = std::min(answer.size(), c.in.size());
        std::copy_n(answer.begin(), o.received, c.in.begin());
        return o;
    }
    static int64_t clock(void *handle) { return static_cast<scripted_drive *>(handle)->now_ms; }
    static void pause(void *handle, int ms)
    {
        static_cast<scripted_drive *>(handle)->now_ms += ms;
        ++static_cast<scripted_drive *>(handle)->pauses;
    }
    static constexpr wire way = {.send = send, .now_ms = clock, .pause = pause};
    inline static const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
};

static std::string image_of(size_t size)
{
    std::string image;
    for (size_t i = 0; i < size; ++i)
        image.push_back(static_cast<char>(i * 7 + i / 251));
    return image;
}

static std::span<const uint8_t> span_of(const std::string &s)
{
    return {reinterpret_cast<const uint8_t *>(s.data()), s.size()};
}

/* What attempts send of an image of 70,001 bytes or 260 blocks, under the names that the rows below use. */
static const std::map<std::string, std::string> commands = {
    {"first",      "3b 07 00 00 00 00 00 80 00 00 <32768 60s"                    },
    {"second",     "3b 07 00 00 80 00 00 80 00 00 <32768 60s"                    },
    {"last",       "3b 07 00 01 00 00 00 11 71 00 <4465 300s"                    },
    {"whole",      "3b 05 00 00 00 00 01 11 71 00 <70001 300s"                   },
    {"defer",      "3b 0e 00 00 00 00 01 00 00 00 <65536 60s"                    },
    {"defer_last", "3b 0e 00 01 00 00 00 11 71 00 <4465 300s"                    },
    {"activate",   "3b 0f 00 00 00 00 00 00 00 00 300s"                          },
    {"dma",        "85 0c 06 00 03 00 80 00 00 00 00 00 00 e0 93 00 <65536 60s"  },
    {"dma_2",      "85 0c 06 00 03 00 80 00 00 00 80 00 00 e0 93 00 <65536 60s"  },
    {"dma_last",   "85 0c 06 00 03 00 04 00 00 00 00 00 01 e0 93 00 <2048 300s"  },
    {"pio",        "85 0a 06 00 03 00 80 00 00 00 00 00 00 e0 92 00 <65536 60s"  },
    {"pio_2",      "85 0a 06 00 03 00 80 00 00 00 80 00 00 e0 92 00 <65536 60s"  },
    {"pio_whole",  "85 0a 06 00 07 00 04 00 01 00 00 00 00 e0 92 00 <133120 300s"},
    {"0e",         "85 0a 06 00 0e 00 00 00 01 00 00 00 00 e0 92 00 <131072 60s" },
    {"0e_last",    "85 0a 06 00 0e 00 04 00 00 00 00 00 01 e0 92 00 <2048 300s"  },
    {"0f",         "85 06 00 00 0f 00 00 00 00 00 00 00 00 e0 92 00 300s"        },
};

TEST(fw_download, sends_each_segment_once_and_in_order)
{
    const std::vector<attempt> scsi = {
        {carrier::write_buffer, mode_offsets_or_whole, 32768, false},
        {carrier::write_buffer, mode_whole_scsi,       70001, false}
    };
    const std::vector<attempt> deferred(1, {carrier::write_buffer, mode_defer, 65536, true});
    const std::vector<attempt> ata = {
        {carrier::microcode_dma, mode_offsets_ata,      65536,  false},
        {carrier::microcode_pio, mode_offsets_ata,      65536,  false},
        {carrier::microcode_pio, mode_offsets_or_whole, 133120, false}
    };
    const std::vector<attempt> ata_deferred(1, {carrier::microcode_pio, mode_defer, 131072, true});
    const outcome illegal = refusal(5, 0x24), reset = refusal(6, 0x29);
    const outcome changed = {.where = layer::drive, .sense_key = 6, .asc = 0x3F, .ascq = 1};
    const outcome abort = refusal(0xB, 0, true), busy = refusal(2, 4), lost = {.where = layer::host};
    const struct {
        std::vector<attempt> attempts;
        std::map<size_t, outcome> answers;
        const char *sent;
        bool is_taken;
    } rows[] = {
        {scsi,         {},                           "first second last",                  true },
        {deferred,     {},                           "defer defer_last activate",          true },
        {ata,          {},                           "dma dma_2 dma_last",                 true },
        {ata_deferred, {},                           "0e 0e_last 0f",                      true },
 /* only a refusal of the first segment lets the next attempt begin */
        {scsi,         {{0, illegal}},               "first whole",                        true },
        {scsi,         {{1, illegal}},               "first second",                       false},
        {scsi,         {{2, illegal}},               "first second last",                  false},
        {scsi,         {{0, refusal(0xB, 0)}},       "first",                              false},
        {scsi,         {{0, refusal(5, 0x26)}},      "first",                              false}, /* the content */
        {scsi,         {{0, busy}},                  "first",                              false},
        {scsi,         {{0, lost}},                  "first",                              false},
        {scsi,         {{0, illegal}, {1, illegal}}, "first whole",                        false},
        {ata,          {{0, abort}, {1, illegal}},   "dma pio pio_whole",                  true },
        {ata,          {{0, abort}, {2, abort}},     "dma pio pio_2",                      false},
        {deferred,     {{2, illegal}},               "defer defer_last activate",          false},
 /* what stands in front of a command is passed over once */
        {scsi,         {{0, reset}},                 "first first second last",            true },
        {scsi,         {{1, changed}},               "first second second last",           true },
        {scsi,         {{1, changed}, {2, reset}},   "first second second",                false},
        {scsi,         {{1, refusal(6, 0x2A)}},      "first second",                       false},
        {scsi,         {{1, refusal(6, 0x3F)}},      "first second",                       false},
        {scsi,         {{0, reset}, {1, illegal}},   "first first whole",                  true },
        {deferred,     {{2, changed}},               "defer defer_last activate activate", true },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(&row - rows);
        scripted_drive d = {.answers = row.answers};
        const std::string image = image_of(row.attempts[0].by == carrier::write_buffer ? 70001 : 133120);
        EXPECT_EQ(send_image(d.connect(), row.attempts, span_of(image), 600'000), row.is_taken);
        strings expected;
        std::istringstream names(row.sent);
        for (std::string name; names >> name;)
            expected.push_back(commands.at(name));
        EXPECT_EQ(d.log, expected);
        EXPECT_TRUE(!row.is_taken || d.taken == image);
        EXPECT_TRUE(d.was_quiet);
        sigset_t blocked;
        sigprocmask(SIG_BLOCK, nullptr, &blocked);
        EXPECT_EQ(sigismember(&blocked, SIGINT), 0);
    }
}

TEST(fw_download, starts_no_command_without_time_for_it)
{
    const attempt a = {carrier::write_buffer, mode_offsets_or_whole, 1024, false};
    const std::string image = image_of(4096);
    scripted_drive slow = {.ms_per_command = 100'000}; /* the last segment has the 300 s that are left */
    EXPECT_TRUE(send_image(slow.connect(), {{a}}, span_of(image), 600'000));
    EXPECT_EQ(slow.log.back(), "3b 07 00 00 0c 00 00 04 00 00 <1024 300s");
    scripted_drive too_slow = {.ms_per_command = 100'001};
    EXPECT_FALSE(send_image(too_slow.connect(), {{a}}, span_of(image), 600'000));
    EXPECT_EQ(too_slow.log.size(), 3U);
    /* What was taken whole is activated at any time. */
    scripted_drive late = {.ms_per_command = 300'000};
    EXPECT_TRUE(send_image(late.connect(), {{{carrier::write_buffer, mode_defer, 4096, true}}},
                           span_of(image), 300'000));
    EXPECT_EQ(late.log.back(), "3b 0f 00 00 00 00 00 00 00 00 300s");
}

/* "07h 32x32768, 05h 1x1048576"; "dma" for DOWNLOAD MICROCODE DMA and "+" for an activation; or the status.
 */
static std::string told(const plan &p, size_t size)
{
    std::string result;
    for (const attempt &a : p.attempts)
        result += format_text(64, "%s%s%02Xh%s %zux%u", result.empty() ? "" : ", ",
                              a.by == carrier::microcode_dma ? "dma" : "", a.mode, a.is_activated ? "+" : "",
                              num_segments(a, size), a.segment);
    return p.attempts.empty() ? "status " + std::to_string(p.status) : result;
}

TEST(fw_download, plans_by_what_a_scsi_drive_offers)
{
    constexpr offer yes = offer::yes, no = offer::no;
    constexpr size_t MiB = 1 << 20;
    const struct {
        scsi_offer offered;
        size_t size;
        node_limits limits;
        const char *told;
    } rows[] = {
        {{},                                                          MiB,          {},               "07h 32x32768, 05h 1x1048576"},
        {{.offsets = yes, .whole = no, .defer = yes},                 MiB,          {},               "07h 32x32768"               },
        {{.offsets = no, .whole = yes},                               MiB,          {},               "05h 1x1048576"              },
        {{.offsets = no, .whole = no, .defer = yes, .activate = yes}, MiB,          {},               "0Eh+ 32x32768"              },
        {{.offsets = no, .whole = no, .defer = yes, .activate = no},  5,            {},               "0Eh 1x5"                    },
        {{.offsets = no, .whole = no},                                MiB,          {},               "status 6"                   }, /* 0Eh only where it is offered */
        {{.whole = no, .boundary = 9},                                MiB,          {20000, 0},       "07h 53x19968"               },
        {{.whole = no, .boundary = 16},                               MiB,          {},               "07h 16x65536"               },
        {{.boundary = 0xFF},                                          MiB,          {},               "05h 1x1048576"              },
        {{.whole = no, .boundary = 0xFF},                             MiB,          {},               "status 4"                   },
        {{.whole = no, .boundary = 17},                               MiB,          {65536, 0},       "status 4"                   },
        {{},                                                          MiB,          {65536, MiB - 1}, "07h 32x32768"               },
        {{.offsets = no},                                             MiB + 1,      {65536, MiB},     "status 4"                   },
        {{.whole = no, .capacity = MiB},                              MiB,          {},               "07h 32x32768"               },
        {{.capacity = MiB - 1},                                       MiB,          {},               "status 4"                   },
        {{},                                                          16 * MiB,     {},               "07h 512x32768"              }, /* one byte too many for 05h */
        {{},                                                          16 * MiB + 1, {},               "status 4"                   },
    };
    for (const auto &row : rows)
        EXPECT_EQ(told(plan_scsi(row.offered, row.size, row.limits), row.size), row.told) << &row - rows;
}

TEST(fw_download, plans_by_what_an_ata_drive_offers)
{
    const struct {
        ata_offer offered; /* at all, DMA, 03h, 0Eh, least and most blocks */
        size_t size;
        node_limits limits;
        const char *told;
    } rows[] = {
        {{},                                   512,         {},               "status 6"                   },
        {{true},                               1 << 20,     {},               "07h 1x1048576"              },
        {{true},                               1 << 20,     {65536, 1 << 19}, "status 4"                   },
        {{true, false, true},                  1 << 20,     {},               "03h 32x32768, 07h 1x1048576"},
        {{true, true, true},                   32768,       {65536, 1},       "dma03h 1x32768, 03h 1x32768"},
        {{true, false, false, true},           65536,       {65536, 1},       "0Eh+ 2x32768"               },
        {{true, false, true, false, 100, 0},   102400,      {65536, 1},       "03h 2x51200"                },
        {{true, false, true, false, 1, 16},    51200,       {65536, 1},       "03h 7x8192"                 },
        {{true, false, true, false, 1, 0},     51200,       {5000, 1},        "03h 12x4608"                },
 /* 64 blocks would leave 1 to the last segment: 50 are the first to leave the 15 that it needs */
        {{true, false, true, false, 15, 64},   65 * 512,    {65536, 1},       "03h 2x25600"                },
        {{true, false, true, false, 64, 255},  130 * 512,   {65536, 1},       "03h 2x33280"                },
        {{true, false, true, false, 64, 64},   65 * 512,    {65536, 0},       "07h 1x33280"                },
        {{true, false, true, false, 64, 64},   65 * 512,    {65536, 1},       "status 4"                   },
        {{true},                               255 * 512,   {0, 0, true},     "07h 1x130560"               },
        {{true},                               256 * 512,   {0, 0, true},     "status 4"                   }, /* COUNT would be 0 */
        {{true, false, true, false, 300, 400}, 600 * 512,   {0, 1},           "03h 2x153600"               },
        {{true, false, true},                  65535 * 512, {0, 1},           "03h 1024x32768"             },
        {{true, false, true},                  65536 * 512, {},               "status 4"                   },
        {{true, true, true},                   1001,        {},               "status 4"                   },
    };
    for (const auto &row : rows)
        EXPECT_EQ(told(plan_ata(row.offered, row.size, row.limits), row.size), row.told) << &row - rows;
}

/* Who ended it, "!" for a refusal, "*" for passed S.M.A.R.T. thresholds; the text must hold `text`. */
static std::string judged(answer a, const std::string &sense, const char *text)
{
    const std::string sense_bytes = bytes(sense);
    a.sense = span_of(sense_bytes);
    const outcome o = judge(a);
    EXPECT_NE(o.text.find(text), std::string::npos) << o.text;
    return layer_name(o.where) + std::string(is_refusal(o) ? "!" : "") + (o.is_threshold_passed ? "*" : "");
}

TEST(fw_download, judges_by_the_lowest_layer_that_failed)
{
    EXPECT_EQ(judged({}, "", ""), "nobody");
    EXPECT_EQ(judged({.error = 22}, "", "nothing was sent"), "host");
    EXPECT_EQ(judged({.error = 19}, "", "vanished"), "host");
    EXPECT_EQ(judged({.is_lost = true, .host_status = 3, .host_text = "DID_TIME_OUT\n"}, "", "DID_TIME_OUT"),
              "host");
    EXPECT_EQ(judged({.is_lost = true, .host_status = 14, .host_text = "x"}, "", "x"), "transport");
    EXPECT_EQ(judged({.status = 8}, "", "Busy"), "drive");
    const struct {
        const char *sense;
        bool is_ata;
        const char *judged, *text;
    } rows[] = {
        {"",                                                                  false, "drive",   "without sense data"  },
        {"70 00 05 00 00 00 00 0a 00 00 00 00 24 00 00 00 00 00",             false, "drive!",  "(5/24/00)"           },
        {"72 01 00 1d 00 00 00 00",                                           false, "nobody",  "Recovered"           },
        {"70 00 00 00 00 00 00 0a 00 00 00 00 00 00 00 00 00 00",             false, "nobody",  ""                    },
        {"71 00 01 00 00 00 00 0a 00 00 00 00 17 00 00 00 00 00",             false, "drive",   "earlier"             },
        {"73 05 24 00 00 00 00 00",                                           false, "drive",   "earlier"             },
        {"72 0b 00 00 00 00 00 0e 09 0c 00 04 00 00 00 00 00 00 00 00 00 51", false, "drive!",
         "error 04h status 51h"                                                                                       },
        {"72 0b 00 00 00 00 00 0e 09 0c 00 10 00 00 00 00 00 00 00 00 00 51", false, "drive",
         "ATA error 10h"                                                                                              },
        {"72 01 00 1d 00 00 00 0e 09 0c 00 00 00 00 00 00 00 f4 00 2c 00 50", false, "nobody*", "status 50h"          },
        {"f0 00 0b 04 41 e0 01 0a 00 00 00 00 00 00",                         true,  "drive!",  "error 04h status 41h"},
        {"70 00 0b 00 00 00 00 0a 04 41 e0 01 00 00",                         true,  "drive!",  "error 04h status 41h"},
        {"f0 00 0b 84 51 e0 01 0a 00 00 00 00 00 00",                         true,  "drive",   "ATA error 84h"       }, /* of the link */
        {"f0 00 0b 04 41 e0 01 0a 00 00 00 00 00 00",                         false, "drive",   "(B/00/00)"           },
        {"f0 00 01 00 50 00 00 0a 00 00 f4 2c 00 1d",                         true,  "nobody*", "status 50h"          },
    };
    for (const auto &row : rows)
        EXPECT_EQ(judged({.status = 2, .is_ata = row.is_ata}, row.sense, row.text), row.judged) << row.sense;
}

TEST(fw_download, asks_about_modes_as_far_as_a_drive_answers)
{
    const struct {
        std::map<size_t, outcome> answers; /* 0: descriptor, then RSOC for 07h, 05h, 0Eh, 0Fh */
        std::map<size_t, std::string> data;
        const char *plan;
        size_t num_commands;
    } rows[] = {
        {{},
         {{0, "09 10 00 00"}, {1, "00 01 00 00"}, {2, "00 01 00 00"}, {3, "00 03 00 0a"}, {4, "00 05 00 0a"}},
         "0Eh+ 1x512",                                                                                                     5},
        {{{1, refusal(5, 0x20)}},                                               {{0, "00 00 01 ff"}},          "status 4", 2},
        {{{1, refusal(5, 0x24)}},                                               {{2, "00 01 00 00"}},          "status 6", 3},
        {{},
         {{1, "00 01 00 00"}, {2, "00 01 00 00"}, {3, "00 01 00 00"}, {4, "00 01 00 00"}, {5, "00 03 00 0a"}},
         "07h 1x512, 05h 1x512",                                                                                           6},
        {{{0, refusal(6, 0x29)}, {1, refusal(6, 0x2A)}, {3, refusal(5, 0x24)}},
         {{4, "00 03 00 0a"}},
         "07h 1x512, 05h 1x512",                                                                                           5},
    };
    for (const auto &row : rows) {
        scripted_drive d = {.answers = row.answers, .data = row.data};
        EXPECT_EQ(told(plan_scsi(ask_scsi_offer(d.connect()), 512, {}), 512), row.plan) << &row - rows;
        EXPECT_EQ(d.log.size(), row.num_commands) << &row - rows;
    }
}

TEST(fw_download, reads_an_ata_drives_offer_from_its_words)
{
    using words = std::map<size_t, uint16_t>;
    constexpr uint16_t valid = 0x4000;
    words log_page; /* of its capabilities, bits 63 and 34 */
    log_page[0] = 1, log_page[1] = 3, log_page[10] = 4, log_page[3] = log_page[11] = 0x8000;
    const struct {
        words identify, log;
        bool offered, dma, offsets, defer;
    } rows[] = {
        {{{83, valid | 1}, {119, valid | 0x10}, {69, 0x100}}, {},            true,  true,  true,  false},
        {{{86, 1}, {87, valid}, {120, valid | 0x10}},         {},            true,  false, true,  false},
        {{{83, 1}, {86, 1}},                                  {},            false, false, false, false}, /* not valid */
        {{{83, valid | 1}, {119, 0x10}},                      log_page,      true,  false, false, false},
        {{{83, valid | 1}, {84, valid | 0x20}},               log_page,      true,  false, false, true },
        {{{83, valid | 1}, {84, valid | 0x20}},               {{3, 0x8000}}, true,  false, false, false}, /* another page */
    };
    for (const auto &row : rows) {
        identify_data data = {}, page = {};
        for (const auto &[n, w] : row.identify)
            data[2 * n] = static_cast<uint8_t>(w), data[2 * n + 1] = static_cast<uint8_t>(w >> 8);
        for (const auto &[n, w] : row.log)
            page[2 * n] = static_cast<uint8_t>(w), page[2 * n + 1] = static_cast<uint8_t>(w >> 8);
        scripted_drive d = {.data = {{0, hex(page.data(), page.size())}}};
        const ata_offer o = ask_ata_offer(d.connect(), data);
        EXPECT_EQ((std::array{o.is_offered, o.has_dma, o.offsets, o.defer}),
                  (std::array{row.offered, row.dma, row.offsets, row.defer}))
            << &row - rows;
    }
}

TEST(fw_download, reads_the_revision_once_the_drive_is_ready)
{
    const std::string runs_b = hex(std::string(32, '\0').c_str(), 32) + " 42 20 20 20"; /* revision "B" */
    const auto tell = [](scripted_drive &d, const char *old_revision) {
        const file_ptr said(tmpfile());
        drive connected = d.connect();
        connected.con.out = connected.con.err = fileno(said.get());
        const aftermath after = tell_new_revision(connected, false, old_revision, 600'000);
        return (after == aftermath::told     ? ""
                : after == aftermath::failed ? "failed "
                                             : "vanished ") +
               content_of("/proc/self/fd/" + std::to_string(connected.con.out));
    };
    scripted_drive changed = {
        .answers = {{0, refusal(6, 0x3F)}, {1, refusal(2, 4)}},
          .data = {{3, runs_b}                    }
    };
    EXPECT_EQ(tell(changed, "A"), "A -> B\n");
    EXPECT_EQ(changed.pauses, 2U);
    scripted_drive same = {
        .data = {{1, runs_b}, {3, runs_b}, {5, runs_b}, {7, runs_b}, {9, runs_b}}
    };
    EXPECT_EQ(tell(same, "B").find("B still runs: a power cycle is needed"), 0U);
    EXPECT_EQ(same.pauses, 4U); /* it might restart a moment later */
    scripted_drive gone = {.answers = {{0, {.where = layer::host, .error = 19, .text = "vanished"}}}};
    EXPECT_EQ(tell(gone, "A"), "vanished ");
    EXPECT_EQ(gone.log.size(), 1U);
    scripted_drive silent = {.now_ms = 590'000}; /* ready, but INQUIRY has nothing to say */
    EXPECT_EQ(tell(silent, "A").find("failed "), 0U);
    EXPECT_LE(silent.now_ms, 601'000);
}
